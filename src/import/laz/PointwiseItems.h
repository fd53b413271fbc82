// Decoders of the pointwise items (point formats 0 to 3, item versions 1 and 2): each keeps the
// last value of its field and decodes the next from the shared arithmetic decoder. A chunk
// starts with the first point stored raw.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "import/laz/ArithmeticDecoder.h"

namespace ovcf::laz {

class PointwiseItemDecoder {
public:
    virtual ~PointwiseItemDecoder() = default;
    // Takes the chunk's first point, raw.
    virtual void first(const std::uint8_t* raw) = 0;
    // Writes the next value of the field to `out`.
    virtual void decode(ArithmeticDecoder& decoder, std::uint8_t* out) = 0;
};

std::unique_ptr<PointwiseItemDecoder> makePoint10Decoder();
std::unique_ptr<PointwiseItemDecoder> makeGpsTime11Decoder();
std::unique_ptr<PointwiseItemDecoder> makeRgb12Decoder();
std::unique_ptr<PointwiseItemDecoder> makeExtraBytesDecoder(std::size_t count);  // both versions
std::unique_ptr<PointwiseItemDecoder> makePoint10V1Decoder();
std::unique_ptr<PointwiseItemDecoder> makeGpsTime11V1Decoder();
std::unique_ptr<PointwiseItemDecoder> makeRgb12V1Decoder();

}  // namespace ovcf::laz
