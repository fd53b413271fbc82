// The LAZ range decoder over one block of compressed bytes. Damaged data never reads outside the
// block: running past its end, or a state no encoder produces, throws CorruptData.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>

#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

struct CorruptData : std::runtime_error {
    using std::runtime_error::runtime_error;
};

class ArithmeticDecoder {
public:
    // Starts decoding `size` bytes at `bytes` (the first four prime the state).
    void start(const std::uint8_t* bytes, std::size_t size);
    bool started() const { return begin_ != nullptr; }

    // Inline: the point codecs call these a dozen times per point.
    std::uint32_t decodeBit(BitModel& model) {
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

    std::uint32_t decodeSymbol(SymbolModel& model) {
        std::uint32_t symbol = 0;
        std::uint32_t x = 0;
        std::uint32_t y = length_;
        length_ >>= kSymbolLengthShift;
        if (length_ == 0) corrupt();
        if (model.tableSize != 0) {
            const std::uint32_t scaled = value_ / length_;
            // Length's dropped low bits let `scaled` pass the last slice a little: the last
            // symbol. Damaged data lands there too, and is caught by the check below.
            const std::uint32_t slice = std::min(scaled >> model.tableShift, model.tableSize);
            const std::uint16_t* table = model.table();
            symbol = table[slice];
            std::uint32_t high = table[slice + 1] + 1u;
            const std::uint16_t* distribution = model.distribution();
            while (high > symbol + 1) {
                const std::uint32_t middle = (symbol + high) >> 1;
                if (distribution[middle] > scaled)
                    high = middle;
                else
                    symbol = middle;
            }
            x = distribution[symbol] * length_;
            if (symbol != model.lastSymbol) y = distribution[symbol + 1] * length_;
        } else {
            const std::uint16_t* distribution = model.distribution();
            std::uint32_t high = model.symbols;
            std::uint32_t middle = high >> 1;
            do {
                const std::uint32_t z = length_ * distribution[middle];
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
        if (x > value_ || value_ >= y) corrupt();  // a valid stream lies inside the interval
        value_ -= x;
        length_ = y - x;
        if (length_ < kMinLength) renormalize();
        ++model.counts()[symbol];
        if (--model.untilUpdate == 0) model.update();
        return symbol;
    }

    std::uint32_t readBits(unsigned bits);  // 1 to 32 raw bits
    std::uint32_t readInt() { const std::uint32_t low = readShort(); return (readShort() << 16) | low; }

private:
    static constexpr std::uint32_t kMinLength = 0x01000000u;

    [[noreturn]] static void corrupt();
    [[noreturn]] static void endedEarly();
    std::uint32_t readShort();
    // Inline too: every second or third symbol needs it.
    void renormalize() {
        do {
            if (next_ >= end_) endedEarly();
            value_ = (value_ << 8) | *next_++;
            length_ <<= 8;
        } while (length_ < kMinLength);
    }

    const std::uint8_t* begin_ = nullptr;
    const std::uint8_t* next_ = nullptr;
    const std::uint8_t* end_ = nullptr;
    std::uint32_t value_ = 0;
    std::uint32_t length_ = 0xFFFFFFFFu;
};

}  // namespace ovcf::laz
