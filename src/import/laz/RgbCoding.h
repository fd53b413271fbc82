// Colour as coded by the RGB items (version 2 pointwise, version 3 layered): a mask of the
// changed bytes, then red's change and green and blue predicted from it.
#pragma once

#include <cstdint>

#include "import/laz/ArithmeticDecoder.h"
#include "import/laz/ArithmeticEncoder.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {

struct Rgb {
    std::uint16_t red = 0, green = 0, blue = 0;
    bool operator==(const Rgb&) const = default;
};

// Inline: a colour is stored at every point.
inline Rgb loadRgb(const std::uint8_t* b) { return {le::u16(b), le::u16(b + 2), le::u16(b + 4)}; }
inline void storeRgb(const Rgb& rgb, std::uint8_t* b) {
    le::putU16(b, rgb.red);
    le::putU16(b + 2, rgb.green);
    le::putU16(b + 4, rgb.blue);
}

struct RgbModels {
    SymbolModel changed{128};
    SymbolModel bytes[6] = {SymbolModel(256), SymbolModel(256), SymbolModel(256),
                            SymbolModel(256), SymbolModel(256), SymbolModel(256)};
};

// Replaces `rgb`, the last colour, with the next.
void decodeRgb(ArithmeticDecoder& decoder, RgbModels& models, Rgb& rgb);
void encodeRgb(ArithmeticEncoder& encoder, RgbModels& models, const Rgb& current, const Rgb& last);

}  // namespace ovcf::laz
