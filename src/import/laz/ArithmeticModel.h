// Adaptive probability models of the LAZ range coder: a bit model and a model of up to 2048
// symbols. Counts are rescaled periodically, so encoder and decoder, updating in the same order,
// always agree on the distribution.
#pragma once

#include <cstdint>
#include <vector>

namespace ovcf::laz {

constexpr unsigned kBitLengthShift = 13;     // length bits dropped before the bit product
constexpr unsigned kSymbolLengthShift = 15;  // and before the symbol products
constexpr unsigned kLargestTableBits = 11;   // the decoding table's slices, at most 2^11

class BitModel {
public:
    void update();

    std::uint32_t zeroCount = 1;
    std::uint32_t count = 2;
    std::uint32_t zeroProbability = 1u << (kBitLengthShift - 1);
    std::uint32_t untilUpdate = 4;
    std::uint32_t cycle = 4;
};

class SymbolModel {
public:
    explicit SymbolModel(std::uint32_t symbols = 2);
    SymbolModel(const SymbolModel& other);
    SymbolModel& operator=(const SymbolModel& other);
    SymbolModel(SymbolModel&&) noexcept = default;  // the block moves, and the pointers into it stay good
    SymbolModel& operator=(SymbolModel&&) noexcept = default;
    void update();

    // Cumulative frequencies, counts and the decoding table share one block: a point touches
    // dozens of models, and one block each keeps that within few cache lines. Every value fits
    // 16 bits (frequencies below 2^15, counts halved past 2^15, symbols at most 2048). The
    // pointers into it are kept: a symbol reads each part, one load apiece.
    const std::uint16_t* distribution() const { return data_.data(); }
    std::uint16_t* counts() { return counts_; }
    const std::uint16_t* table() const { return table_; }

    std::uint32_t symbols;
    std::uint32_t lastSymbol;
    // The decoding table gives, per slice of the scaled interval, the first symbol to search from.
    // A few slices follow the last, for the scaled values just past the interval (the decoder's
    // dropped length bits): they hold the last symbol, so the decoder needs no bound.
    std::uint32_t tableShift = 0;
    std::uint32_t totalCount = 0;
    std::uint32_t cycle = 0;
    std::uint32_t untilUpdate = 0;

private:
    std::uint32_t tableEntries() const;
    void pointIntoBlock() {
        counts_ = data_.data() + symbols;
        table_ = data_.data() + 2 * symbols;
    }

    std::vector<std::uint16_t> data_;
    std::uint16_t* counts_ = nullptr;
    std::uint16_t* table_ = nullptr;
};

}  // namespace ovcf::laz
