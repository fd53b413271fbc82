// Adaptive probability models of the LAZ range coder: a bit model and a model of up to 2048
// symbols. Counts are rescaled periodically, so encoder and decoder, updating in the same order,
// always agree on the distribution.
#pragma once

#include <cstdint>
#include <vector>

namespace ovcf::laz {

constexpr unsigned kBitLengthShift = 13;     // length bits dropped before the bit product
constexpr unsigned kSymbolLengthShift = 15;  // and before the symbol products

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
    void update();

    std::uint32_t symbols;
    std::uint32_t lastSymbol;
    std::vector<std::uint32_t> distribution;
    std::vector<std::uint32_t> counts;
    // Speeds up decoding of larger alphabets: the first symbol to search from, per slice of the
    // scaled interval.
    std::vector<std::uint32_t> table;
    std::uint32_t tableSize = 0;
    std::uint32_t tableShift = 0;
    std::uint32_t totalCount = 0;
    std::uint32_t cycle = 0;
    std::uint32_t untilUpdate = 0;
};

}  // namespace ovcf::laz
