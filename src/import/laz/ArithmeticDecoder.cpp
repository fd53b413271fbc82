#include "import/laz/ArithmeticDecoder.h"

namespace ovcf::laz {

void ArithmeticDecoder::start(const std::uint8_t* bytes, std::size_t size) {
    begin_ = next_ = bytes;
    end_ = bytes + size;
    length_ = 0xFFFFFFFFu;
    value_ = 0;
    if (size < 4) throw CorruptData("the compressed data ends early");
    for (int i = 0; i < 4; ++i) value_ = (value_ << 8) | *next_++;
}

void ArithmeticDecoder::corrupt() { throw CorruptData("invalid arithmetic coder state"); }

void ArithmeticDecoder::endedEarly() { throw CorruptData("the compressed data ends early"); }

std::uint32_t ArithmeticDecoder::readShort() {
    length_ >>= 16;
    const std::uint32_t symbol = value_ / length_;
    if (symbol >> 16) corrupt();
    value_ -= length_ * symbol;
    if (length_ < kMinLength) renormalize();
    return symbol;
}

std::uint32_t ArithmeticDecoder::readBits(unsigned bits) {
    if (bits > 19) {
        const std::uint32_t low = readShort();
        return (readBits(bits - 16) << 16) | low;
    }
    length_ >>= bits;
    const std::uint32_t symbol = value_ / length_;
    if (symbol >> bits) corrupt();
    value_ -= length_ * symbol;
    if (length_ < kMinLength) renormalize();
    return symbol;
}

}  // namespace ovcf::laz
