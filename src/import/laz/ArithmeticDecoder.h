// The LAZ range decoder over one block of compressed bytes. Damaged data never reads outside the
// block: running past its end, or a state no encoder produces, throws CorruptData.
//
// The state keeps value_ < length_ and length_ >= 2^24 from start(), which refuses the one first
// value no encoder writes, through every step: so a symbol's slice lies inside its model's table,
// the interval found holds value_, and no division is by zero, whatever the bytes. Damaged data
// decodes to wrong symbols, never to an invalid state, and is caught by the block's end or by the
// item decoders' own checks.
#pragma once

#include <bit>
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

    // Always inline: the point codecs call these a dozen times per point, with the decoder's
    // state in registers.
    [[gnu::always_inline]] std::uint32_t decodeBit(BitModel& model) {
        const std::uint32_t x = model.zeroProbability * (length_ >> kBitLengthShift);
        const std::uint32_t bit = value_ >= x ? 1u : 0u;
        // Selected, not branched: which bit comes is what the model could not foresee.
        value_ -= bit ? x : 0u;
        length_ = bit ? length_ - x : x;
        model.zeroCount += bit ^ 1u;
        normalize();
        if (--model.untilUpdate == 0) model.update();
        return bit;
    }

    [[gnu::always_inline]] std::uint32_t decodeSymbol(SymbolModel& model) {
        const std::uint32_t whole = length_;
        length_ >>= kSymbolLengthShift;
        const std::uint32_t scaled = value_ / length_;
        // Length's dropped low bits let `scaled` pass the last slice a little: the table's slices
        // after the last hold the last symbol.
        const std::uint32_t slice = scaled >> model.tableShift;
        const std::uint16_t* table = model.table();
        const std::uint16_t* distribution = model.distribution();
        std::uint32_t symbol = table[slice];
        const std::uint32_t last = table[slice + 1];  // the slice's symbols: mostly one
        if (last > symbol) {
            std::uint32_t high = last + 1;
            do {
                const std::uint32_t middle = (symbol + high) >> 1;
                if (distribution[middle] > scaled)
                    high = middle;
                else
                    symbol = middle;
            } while (high > symbol + 1);
        }
        const std::uint32_t x = distribution[symbol] * length_;
        // The last symbol's interval ends at the whole length; the entry after the last
        // frequency (the first count) is read, and not used, for it.
        const std::uint32_t next = distribution[symbol + 1] * length_;
        const std::uint32_t y = symbol == model.lastSymbol ? whole : next;
        value_ -= x;
        length_ = y - x;
        normalize();
        ++model.counts()[symbol];
        if (--model.untilUpdate == 0) model.update();
        return symbol;
    }

    // 1 to 32 raw bits; inline, so that a caller's copy of the decoder stays in registers.
    std::uint32_t readBits(unsigned bits) {
        if (bits <= 19) return readSmall(bits);
        const std::uint32_t low = readShort();
        return (readSmall(bits - 16) << 16) | low;
    }
    std::uint32_t readInt() { const std::uint32_t low = readShort(); return (readShort() << 16) | low; }

private:
    static constexpr std::uint32_t kMinLength = 0x01000000u;

    [[noreturn]] static void corrupt();
    [[noreturn]] static void endedEarly();
    std::uint32_t readShort() { return readSmall(16); }
    std::uint32_t readSmall(unsigned bits) {
        length_ >>= bits;
        const std::uint32_t symbol = value_ / length_;
        if (symbol >> bits) corrupt();
        value_ -= length_ * symbol;
        if (length_ < kMinLength) renormalize();
        return symbol;
    }
    // Shifts in the bytes that bring the length back to at least kMinLength. Every second or
    // third symbol needs one or two, unforeseeably: computed without a branch from the
    // length's leading zeros, away from the end of the block.
    void normalize() {
        if (next_ <= lastWord_) [[likely]] {
            const unsigned shift = (std::countl_zero(length_ | 1u) >> 3) * 8;
            const std::uint64_t window = (std::uint64_t{value_} << 32) | (std::uint32_t{next_[0]} << 24) |
                                         (std::uint32_t{next_[1]} << 16) | (std::uint32_t{next_[2]} << 8) | next_[3];
            value_ = static_cast<std::uint32_t>(window >> (32 - shift));
            length_ <<= shift;
            next_ += shift >> 3;
        } else if (length_ < kMinLength) {
            renormalize();
        }
    }
    void renormalize() {
        do {
            if (next_ >= lastWord_ + 4) endedEarly();
            value_ = (value_ << 8) | *next_++;
            length_ <<= 8;
        } while (length_ < kMinLength);
    }

    // Before start(), an empty block: decoding throws, as at the end of one.
    static constexpr std::uint8_t kNoBytes[4] = {};
    const std::uint8_t* next_ = kNoBytes + 4;
    const std::uint8_t* lastWord_ = kNoBytes;  // the block's last four bytes: one compare a symbol
    std::uint32_t value_ = 0;
    std::uint32_t length_ = 0xFFFFFFFFu;
};

}  // namespace ovcf::laz
