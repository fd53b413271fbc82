// sRGB bytes to CIELAB under the D65 white point, and the CIE76 colour difference: how far apart
// two colours look, in ΔE units.
#pragma once

#include <cstdint>

namespace ovcf {

struct Lab {
    double l = 0.0;
    double a = 0.0;
    double b = 0.0;
};

// Thread-safe: the channel linearisation table is built once, on first use.
Lab srgbToLab(std::uint8_t red, std::uint8_t green, std::uint8_t blue);
inline Lab srgbToLab(std::uint32_t rgb) {
    return srgbToLab(static_cast<std::uint8_t>(rgb >> 16), static_cast<std::uint8_t>(rgb >> 8),
                     static_cast<std::uint8_t>(rgb));
}

// CIE76: the straight distance in L, a, b; without the lightness term when it is to be ignored.
double deltaE76(const Lab& x, const Lab& y, bool ignoreLightness);

}  // namespace ovcf
