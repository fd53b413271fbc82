#include "import/laz/ArithmeticDecoder.h"

namespace ovcf::laz {

void ArithmeticDecoder::start(const std::uint8_t* bytes, std::size_t size) {
    if (size < 4) throw CorruptData("the compressed data ends early");
    next_ = bytes;
    lastWord_ = bytes + size - 4;
    length_ = 0xFFFFFFFFu;
    value_ = 0;
    for (int i = 0; i < 4; ++i) value_ = (value_ << 8) | *next_++;
    if (value_ >= length_) corrupt();  // an encoder's first value lies inside the whole range
}

void ArithmeticDecoder::corrupt() { throw CorruptData("invalid arithmetic coder state"); }

void ArithmeticDecoder::endedEarly() { throw CorruptData("the compressed data ends early"); }

}  // namespace ovcf::laz
