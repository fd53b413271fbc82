#include "import/laz/RgbCoding.h"

#include <algorithm>

namespace ovcf::laz {
namespace {

// Model slots, in the order the bytes are coded.
enum : int { kLowRed, kHighRed, kLowGreen, kHighGreen, kLowBlue, kHighBlue };

int low(unsigned v) { return static_cast<int>(v & 0xFF); }
int high(unsigned v) { return static_cast<int>((v >> 8) & 0xFF); }
int clampByte(int v) { return std::clamp(v, 0, 255); }

}  // namespace

void decodeRgb(ArithmeticDecoder& shared, RgbModels& models, Rgb& rgb) {
    // A copy of the decoder keeps its state in registers across the up to seven symbols, and the
    // colour is replaced in place: a returned six-byte value was assembled through memory, a stall
    // at every point.
    ArithmeticDecoder d = shared;
    const unsigned lastRed = rgb.red, lastGreen = rgb.green, lastBlue = rgb.blue;
    const std::uint32_t mask = d.decodeSymbol(models.changed);
    auto byteAfter = [&](int slot, int base) { return (d.decodeSymbol(models.bytes[slot]) + static_cast<std::uint32_t>(base)) & 0xFFu; };
    unsigned red = mask & 1 ? byteAfter(kLowRed, low(lastRed)) : lastRed & 0xFFu;
    red |= (mask & 2 ? byteAfter(kHighRed, high(lastRed)) : lastRed >> 8) << 8;
    unsigned green = red, blue = red;
    if (mask & 64) {
        int diff = low(red) - low(lastRed);
        green = mask & 4 ? byteAfter(kLowGreen, clampByte(diff + low(lastGreen))) : lastGreen & 0xFFu;
        if (mask & 16) {
            diff = (diff + low(green) - low(lastGreen)) / 2;
            blue = byteAfter(kLowBlue, clampByte(diff + low(lastBlue)));
        } else {
            blue = lastBlue & 0xFFu;
        }
        diff = high(red) - high(lastRed);
        green |= (mask & 8 ? byteAfter(kHighGreen, clampByte(diff + high(lastGreen))) : lastGreen >> 8) << 8;
        if (mask & 32) {
            diff = (diff + high(green) - high(lastGreen)) / 2;
            blue |= byteAfter(kHighBlue, clampByte(diff + high(lastBlue))) << 8;
        } else {
            blue |= lastBlue & 0xFF00u;
        }
    }
    rgb.red = static_cast<std::uint16_t>(red);
    rgb.green = static_cast<std::uint16_t>(green);
    rgb.blue = static_cast<std::uint16_t>(blue);
    shared = d;
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
