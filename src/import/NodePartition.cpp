#include "import/NodePartition.h"

#include <algorithm>

namespace ovcf {

namespace {

// How many points go each of the nine ways: seven bits per way in one register, added up into
// the totals before any of them can overflow. Runs of points going the same way would otherwise
// wait on one counter in memory.
struct DestinationCounts {
    std::size_t total[9] = {};
    std::uint64_t packed = 0;
    unsigned pending = 0;

    void add(std::uint32_t destination) {
        packed += std::uint64_t{1} << (7 * destination);
        if (++pending == 127) flush();
    }
    void flush() {
        for (int d = 0; d < 9; ++d) total[d] += (packed >> (7 * d)) & 127u;
        packed = 0;
        pending = 0;
    }
};

}  // namespace

void markCells(const NodeGrid& grid, std::uint64_t* words, const PointRecord* source, std::size_t begin,
               std::size_t end, std::uint8_t* destination, StretchGroups& groups) {
    // Branch-free, since whether a cell is taken is unpredictable.
    const std::size_t bounds[3] = {begin, begin + (end - begin) / 2, end};
    for (int h = 0; h < 2; ++h) {
        DestinationCounts counter;
        for (std::size_t i = bounds[h]; i < bounds[h + 1]; ++i) {
            std::uint32_t cell, octant;
            grid.locate(source[i], cell, octant);
            std::uint64_t& word = words[cell >> 6];
            const std::uint64_t taken = (word >> (cell & 63)) & 1u;
            word |= std::uint64_t{1} << (cell & 63);
            const std::uint32_t d = kKeptGroup - static_cast<std::uint32_t>(taken) * (kKeptGroup - octant);
            destination[i] = static_cast<std::uint8_t>(d);
            counter.add(d);
        }
        counter.flush();
        std::copy(counter.total, counter.total + 9, groups.half[h]);
    }
}

void layOutGroups(const StretchGroups* groups, unsigned stretches, PointRecord* target, GroupCursors* lower,
                  GroupCursors* upper, std::size_t counts[9]) {
    std::size_t at = 0;
    for (int g : {8, 0, 1, 2, 3, 4, 5, 6, 7}) {
        const std::size_t groupStart = at;
        for (unsigned s = 0; s < stretches; ++s) {
            lower[s][g] = target + at;
            at += groups[s].half[0][g];
            upper[s][g] = target + at;
            at += groups[s].half[1][g];
        }
        counts[g] = at - groupStart;
    }
}

void moveToGroups(const PointRecord* source, std::size_t begin, std::size_t end, const std::uint8_t* destination,
                  PointRecord* const lower[9], PointRecord* const upper[9]) {
    PointRecord* low[9];
    PointRecord* high[9];
    std::copy(lower, lower + 9, low);
    std::copy(upper, upper + 9, high);
    const std::size_t halfLength = (end - begin) / 2;
    const std::size_t half = begin + halfLength;
    for (std::size_t i = 0; i < halfLength; ++i) {
        *low[destination[begin + i]]++ = source[begin + i];
        *high[destination[half + i]]++ = source[half + i];
    }
    if ((end - begin) % 2 != 0) *high[destination[end - 1]]++ = source[end - 1];
}

}  // namespace ovcf
