#include "import/laz/ArithmeticDecoder.h"

namespace ovcf::laz {

namespace {
constexpr std::uint32_t kMinLength = 0x01000000u;
}

void ArithmeticDecoder::start(const std::uint8_t* bytes, std::size_t size) {
    begin_ = next_ = bytes;
    end_ = bytes + size;
    length_ = 0xFFFFFFFFu;
    value_ = 0;
    for (int i = 0; i < 4; ++i) value_ = (value_ << 8) | nextByte();
}

std::uint8_t ArithmeticDecoder::nextByte() {
    if (next_ >= end_) throw CorruptData("the compressed data ends early");
    return *next_++;
}

void ArithmeticDecoder::renormalize() {
    do {
        value_ = (value_ << 8) | nextByte();
        length_ <<= 8;
    } while (length_ < kMinLength);
}

std::uint32_t ArithmeticDecoder::decodeBit(BitModel& model) {
    const std::uint32_t x = model.zeroProbability * (length_ >> kBitLengthShift);
    const std::uint32_t bit = value_ >= x ? 1u : 0u;
    if (bit == 0) {
        length_ = x;
        ++model.zeroCount;
    } else {
        value_ -= x;
        length_ -= x;
    }
    if (length_ < kMinLength) renormalize();
    if (--model.untilUpdate == 0) model.update();
    return bit;
}

std::uint32_t ArithmeticDecoder::decodeSymbol(SymbolModel& model) {
    std::uint32_t symbol = 0;
    std::uint32_t x = 0;
    std::uint32_t y = length_;
    length_ >>= kSymbolLengthShift;
    if (length_ == 0) throw CorruptData("invalid arithmetic coder state");
    if (model.tableSize != 0) {
        const std::uint32_t scaled = value_ / length_;
        const std::uint32_t slice = scaled >> model.tableShift;
        // A valid stream keeps value below length; damaged data could index past the table.
        if (slice > model.tableSize) throw CorruptData("invalid arithmetic coder state");
        symbol = model.table[slice];
        std::uint32_t high = model.table[slice + 1] + 1;
        while (high > symbol + 1) {
            const std::uint32_t middle = (symbol + high) >> 1;
            if (model.distribution[middle] > scaled)
                high = middle;
            else
                symbol = middle;
        }
        x = model.distribution[symbol] * length_;
        if (symbol != model.lastSymbol) y = model.distribution[symbol + 1] * length_;
    } else {
        std::uint32_t high = model.symbols;
        std::uint32_t middle = high >> 1;
        do {
            const std::uint32_t z = length_ * model.distribution[middle];
            if (z > value_) {
                high = middle;
                y = z;
            } else {
                symbol = middle;
                x = z;
            }
            middle = (symbol + high) >> 1;
        } while (middle != symbol);
    }
    if (x > value_ || y <= x) throw CorruptData("invalid arithmetic coder state");
    value_ -= x;
    length_ = y - x;
    if (length_ < kMinLength) renormalize();
    ++model.counts[symbol];
    if (--model.untilUpdate == 0) model.update();
    return symbol;
}

std::uint32_t ArithmeticDecoder::readShort() {
    length_ >>= 16;
    const std::uint32_t symbol = value_ / length_;
    if (symbol >> 16) throw CorruptData("invalid arithmetic coder state");
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
    if (symbol >> bits) throw CorruptData("invalid arithmetic coder state");
    value_ -= length_ * symbol;
    if (length_ < kMinLength) renormalize();
    return symbol;
}

}  // namespace ovcf::laz
