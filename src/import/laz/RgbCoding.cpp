#include "import/laz/RgbCoding.h"

#include <algorithm>

#include "ovcf/ByteOrder.h"

namespace ovcf::laz {
namespace {

// Model slots, in the order the bytes are coded.
enum : int { kLowRed, kHighRed, kLowGreen, kHighGreen, kLowBlue, kHighBlue };

int low(std::uint16_t v) { return v & 0xFF; }
int high(std::uint16_t v) { return v >> 8; }
int clampByte(int v) { return std::clamp(v, 0, 255); }

}  // namespace

Rgb loadRgb(const std::uint8_t* b) { return {le::u16(b), le::u16(b + 2), le::u16(b + 4)}; }

void storeRgb(const Rgb& rgb, std::uint8_t* b) {
    le::putU16(b, rgb.red);
    le::putU16(b + 2, rgb.green);
    le::putU16(b + 4, rgb.blue);
}

Rgb decodeRgb(ArithmeticDecoder& d, RgbModels& models, const Rgb& last) {
    const std::uint32_t mask = d.decodeSymbol(models.changed);
    auto byteAfter = [&](int slot, int base) {
        return static_cast<std::uint16_t>((d.decodeSymbol(models.bytes[slot]) + static_cast<std::uint32_t>(base)) & 0xFF);
    };
    Rgb rgb;
    rgb.red = mask & 1 ? byteAfter(kLowRed, low(last.red)) : static_cast<std::uint16_t>(last.red & 0xFF);
    rgb.red |= (mask & 2 ? byteAfter(kHighRed, high(last.red)) : high(last.red)) << 8;
    if (mask & 64) {
        int diff = low(rgb.red) - low(last.red);
        rgb.green = mask & 4 ? byteAfter(kLowGreen, clampByte(diff + low(last.green))) : static_cast<std::uint16_t>(last.green & 0xFF);
        if (mask & 16) {
            diff = (diff + low(rgb.green) - low(last.green)) / 2;
            rgb.blue = byteAfter(kLowBlue, clampByte(diff + low(last.blue)));
        } else {
            rgb.blue = last.blue & 0xFF;
        }
        diff = high(rgb.red) - high(last.red);
        rgb.green |= (mask & 8 ? byteAfter(kHighGreen, clampByte(diff + high(last.green))) : high(last.green)) << 8;
        if (mask & 32) {
            diff = (diff + high(rgb.green) - high(last.green)) / 2;
            rgb.blue |= byteAfter(kHighBlue, clampByte(diff + high(last.blue))) << 8;
        } else {
            rgb.blue |= last.blue & 0xFF00;
        }
    } else {
        rgb.green = rgb.blue = rgb.red;
    }
    return rgb;
}

void encodeRgb(ArithmeticEncoder& e, RgbModels& models, const Rgb& c, const Rgb& last) {
    const bool grey = c.red == c.green && c.red == c.blue;
    const std::uint32_t mask = (low(c.red) != low(last.red) ? 1u : 0u) | (high(c.red) != high(last.red) ? 2u : 0u) |
                               (low(c.green) != low(last.green) ? 4u : 0u) | (high(c.green) != high(last.green) ? 8u : 0u) |
                               (low(c.blue) != low(last.blue) ? 16u : 0u) | (high(c.blue) != high(last.blue) ? 32u : 0u) |
                               (grey ? 0u : 64u);
    e.encodeSymbol(models.changed, mask);
    auto put = [&](int slot, int value, int base) {
        e.encodeSymbol(models.bytes[slot], static_cast<std::uint32_t>((value - base) & 0xFF));
    };
    int diffLow = 0;
    int diffHigh = 0;
    if (mask & 1) {
        diffLow = low(c.red) - low(last.red);
        put(kLowRed, low(c.red), low(last.red));
    }
    if (mask & 2) {
        diffHigh = high(c.red) - high(last.red);
        put(kHighRed, high(c.red), high(last.red));
    }
    if (!(mask & 64)) return;
    if (mask & 4) put(kLowGreen, low(c.green), clampByte(diffLow + low(last.green)));
    if (mask & 16) {
        diffLow = (diffLow + low(c.green) - low(last.green)) / 2;
        put(kLowBlue, low(c.blue), clampByte(diffLow + low(last.blue)));
    }
    if (mask & 8) put(kHighGreen, high(c.green), clampByte(diffHigh + high(last.green)));
    if (mask & 32) {
        diffHigh = (diffHigh + high(c.green) - high(last.green)) / 2;
        put(kHighBlue, high(c.blue), clampByte(diffHigh + high(last.blue)));
    }
}

}  // namespace ovcf::laz
