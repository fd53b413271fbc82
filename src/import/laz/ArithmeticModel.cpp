#include "import/laz/ArithmeticModel.h"

#include <algorithm>
#include <cstring>

namespace ovcf::laz {

void BitModel::update() {
    count += cycle;
    if (count > (1u << kBitLengthShift)) {
        count = (count + 1) >> 1;
        zeroCount = (zeroCount + 1) >> 1;
        if (zeroCount == count) ++count;
    }
    zeroProbability = (zeroCount * (0x80000000u / count)) >> (31 - kBitLengthShift);
    cycle = (5 * cycle) >> 2;
    if (cycle > 64) cycle = 64;
    untilUpdate = cycle;
}

namespace {

// Entries past the table that the last store of a run may reach (see update()).
constexpr std::uint32_t kTableSpill = 4;

}  // namespace

std::uint32_t SymbolModel::tableEntries() const {
    // A decoder's length is at least 2^24 before a symbol, so its scaled value stays below
    // 2^15 + 2^15 / 2^9; it reads the entry of its slice and the next.
    return (((1u << kSymbolLengthShift) + 63) >> tableShift) + 2;
}

SymbolModel::SymbolModel(std::uint32_t symbolCount) : symbols(symbolCount), lastSymbol(symbolCount - 1) {
    // About four slices per symbol, for every model: a slice then mostly holds one symbol, so
    // decoding seldom searches, and small models need no search of their own, whose branches
    // the processor cannot foresee. Any resolution decodes the same symbols.
    unsigned bits = 3;
    while (symbols * 4 > (1u << bits) && bits < kLargestTableBits) ++bits;
    tableShift = kSymbolLengthShift - bits;
    data_.assign(2 * symbols + tableEntries() + kTableSpill, 0);
    pointIntoBlock();
    std::uint16_t* count = counts();
    for (std::uint32_t k = 0; k < symbols; ++k) count[k] = 1;
    cycle = symbols;
    update();
    cycle = untilUpdate = (symbols + 6) >> 1;
}

SymbolModel::SymbolModel(const SymbolModel& other)
    : symbols(other.symbols), lastSymbol(other.lastSymbol), tableShift(other.tableShift), totalCount(other.totalCount),
      cycle(other.cycle), untilUpdate(other.untilUpdate), data_(other.data_) {
    pointIntoBlock();
}

SymbolModel& SymbolModel::operator=(const SymbolModel& other) {
    if (this != &other) {
        symbols = other.symbols;
        lastSymbol = other.lastSymbol;
        tableShift = other.tableShift;
        totalCount = other.totalCount;
        cycle = other.cycle;
        untilUpdate = other.untilUpdate;
        data_ = other.data_;
        pointIntoBlock();
    }
    return *this;
}

void SymbolModel::update() {
    std::uint16_t* distribution = data_.data();
    std::uint16_t* count = counts();
    totalCount += cycle;
    if (totalCount > (1u << kSymbolLengthShift)) {
        totalCount = 0;
        for (std::uint32_t k = 0; k < symbols; ++k) {
            count[k] = static_cast<std::uint16_t>((count[k] + 1) >> 1);
            totalCount += count[k];
        }
    }
    const std::uint32_t scale = 0x80000000u / totalCount;
    // Slice s starts inside the last symbol that begins in a slice before it. Filled run by run
    // as the symbols' starts are found, four entries a store and always one store: the entries a
    // store writes past its run are written again by the runs after it, or by the closing fill.
    // Most runs of a model with four slices a symbol take that one store, so the loop's length
    // is foreseeable; a fill of each run's exact length mispredicted a quarter of the branches.
    std::uint16_t* table = table_;
    table[0] = 0;
    std::uint16_t* filled = table + 1;
    distribution[0] = 0;
    std::uint32_t sum = count[0];
    std::uint64_t run = 0;  // k - 1 in each 16-bit lane
    for (std::uint32_t k = 1; k < symbols; ++k) {
        const std::uint32_t start = (scale * sum) >> (31 - kSymbolLengthShift);
        distribution[k] = static_cast<std::uint16_t>(start);
        sum += count[k];
        std::uint16_t* const upTo = table + (start >> tableShift) + 1;
        do {
            std::memcpy(filled, &run, sizeof run);
            filled += 4;
        } while (filled < upTo);
        filled = upTo;
        run += 0x0001000100010001u;
    }
    std::fill(filled, table + tableEntries(), static_cast<std::uint16_t>(symbols - 1));
    cycle = (5 * cycle) >> 2;
    const std::uint32_t longest = (symbols + 6) << 3;
    if (cycle > longest) cycle = longest;
    untilUpdate = cycle;
}

}  // namespace ovcf::laz
