#include "selection/CieLab.h"

#include <array>
#include <cmath>

namespace ovcf {
namespace {

// A function-local static: its initialisation runs once, and other threads wait for it.
const std::array<double, 256>& linearTable() {
    static const std::array<double, 256> table = [] {
        std::array<double, 256> t{};
        for (int i = 0; i < 256; ++i) {
            const double c = i / 255.0;
            t[static_cast<std::size_t>(i)] = c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
        }
        return t;
    }();
    return table;
}

double labCurve(double t) { return t > 0.008856451679035631 ? std::cbrt(t) : t * 7.787037037037037 + 0.13793103448275862; }

}  // namespace

Lab srgbToLab(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
    const std::array<double, 256>& linear = linearTable();
    const double r = linear[red], g = linear[green], b = linear[blue];
    const double x = 0.4124564 * r + 0.3575761 * g + 0.1804375 * b;
    const double y = 0.2126729 * r + 0.7151522 * g + 0.072175 * b;
    const double z = 0.0193339 * r + 0.119192 * g + 0.9503041 * b;
    const double fx = labCurve(x / 0.95047), fy = labCurve(y / 1.0), fz = labCurve(z / 1.08883);
    return {116.0 * fy - 16.0, 500.0 * (fx - fy), 200.0 * (fy - fz)};
}

double deltaE76(const Lab& x, const Lab& y, bool ignoreLightness) {
    const double da = x.a - y.a, db = x.b - y.b, dl = ignoreLightness ? 0.0 : x.l - y.l;
    return std::sqrt(da * da + db * db + dl * dl);
}

}  // namespace ovcf
