#include "import/ParallelPartition.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "import/NodePartition.h"

namespace ovcf {

namespace {

bool isMarked(const std::uint64_t* words, std::uint32_t cell) { return (words[cell >> 6] >> (cell & 63)) & 1u; }

void clearCell(std::uint64_t* words, std::uint32_t cell) { words[cell >> 6] &= ~(std::uint64_t{1} << (cell & 63)); }

}  // namespace

void PartitionScratch::prepare(unsigned stretches, std::uint32_t cells) {
    if (bitmaps.size() < stretches) bitmaps.resize(stretches);
    if (displaced.size() < stretches) displaced.resize(stretches);
    for (OccupancyBitmap& bitmap : bitmaps)
        if (!bitmap.fits(cells)) bitmap.resize(cells);
}

unsigned partitionStretches(const WorkerPool& pool, std::size_t count) {
    if (pool.threads() <= 1) return 1;
    const std::size_t most = count / kPartitionStretchPoints;
    return static_cast<unsigned>(std::max<std::size_t>(1, std::min<std::size_t>(2 * pool.threads(), most)));
}

void partitionInParallel(WorkerPool& pool, unsigned stretches, const NodeGrid& grid, PartitionScratch& scratch,
                         std::uint8_t* destination, const PointRecord* source, PointRecord* target, std::size_t count,
                         std::size_t counts[9]) {
    const auto begin = [count, stretches](unsigned s) { return count * s / stretches; };
    std::vector<StretchGroups> groups(stretches);

    pool.forEach(stretches, [&](unsigned s) {
        markCells(grid, scratch.bitmaps[s].words(), source, begin(s), begin(s + 1), destination, groups[s]);
    });

    // The first stretch's verdicts are final; a later one's kept point goes to its octant after
    // all when an earlier stretch met its cell.
    pool.forEach(stretches - 1, [&](unsigned part) {
        const unsigned s = part + 1;
        std::vector<std::size_t>& displaced = scratch.displaced[s];
        displaced.clear();
        const std::size_t first = begin(s), end = begin(s + 1), middle = first + (end - first) / 2;
        // The kept points are found with memchr, which looks at many bytes at a time.
        for (std::size_t i = first; i < end; ++i) {
            const void* found = std::memchr(destination + i, kKeptGroup, end - i);
            if (!found) break;
            i = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - destination);
            std::uint32_t cell, octant;
            grid.locate(source[i], cell, octant);
            for (unsigned e = 0; e < s; ++e) {
                if (!isMarked(scratch.bitmaps[e].words(), cell)) continue;
                destination[i] = static_cast<std::uint8_t>(octant);
                std::size_t* half = groups[s].half[i < middle ? 0 : 1];
                --half[kKeptGroup];
                ++half[octant];
                displaced.push_back(i);
                break;
            }
        }
    });

    std::vector<GroupCursors> lower(stretches), upper(stretches);
    layOutGroups(groups.data(), stretches, target, lower.data(), upper.data(), counts);
    std::vector<PointRecord*> keptStart(stretches);
    for (unsigned s = 0; s < stretches; ++s) keptStart[s] = lower[s][kKeptGroup];

    pool.forEach(stretches, [&](unsigned s) {
        moveToGroups(source, begin(s), begin(s + 1), destination, lower[s].data(), upper[s].data());
        OccupancyBitmap& bitmap = scratch.bitmaps[s];
        bitmap.clearCellsOf(grid, keptStart[s], groups[s].total(kKeptGroup));
        if (s == 0) return;
        for (std::size_t i : scratch.displaced[s]) clearCell(bitmap.words(), grid.cellOf(source[i]));
    });
}

}  // namespace ovcf
