#include "import/MemorySplit.h"

#include <algorithm>

#include "import/BucketProcessing.h"
#include "import/NodeOutput.h"

namespace ovcf {

namespace {

constexpr std::uint8_t kStays = 8;  // destination of a point that stays in the node

// How many points go each of the nine ways: seven bits per way in one register, added up into
// the totals before any of them can overflow.
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

// Samples the node whose points are source[0, count), writes it, and recurses into the children;
// target[0, count) receives the node's points grouped as kept, octant 0, ..., octant 7, and the
// children use the two arrays the other way round.
bool splitRange(IndexerRun& run, const NodeKey& key, PointRecord* source, PointRecord* target, std::size_t count,
                std::string& error) {
    run.grid.configure(run.cube, key, run.options.gridSize);
    // Locals, not members: the byte stores below may alias anything, and the compiler would
    // reload every member after each of them.
    const NodeGrid grid = run.grid;
    OccupancyBitmap& occupancy = run.occupancy;
    std::uint64_t* const words = occupancy.words();
    std::uint8_t* const destination = static_cast<std::uint8_t*>(run.destinations.reserve(count + 1));

    // First pass, in order: the first point of each cell stays. Branch-free, since whether a cell
    // is taken is unpredictable, and counted in a register, since runs of points going the same
    // way would otherwise wait on one counter in memory.
    const std::size_t half = count / 2;
    DestinationCounts counter;
    std::size_t firstHalf[9] = {};
    for (std::size_t i = 0; i < count; ++i) {
        if (i == half) {
            counter.flush();
            std::copy(counter.total, counter.total + 9, firstHalf);
        }
        std::uint32_t cell, octant;
        grid.locate(source[i], cell, octant);
        std::uint64_t& word = words[cell >> 6];
        const std::uint64_t taken = (word >> (cell & 63)) & 1u;
        word |= std::uint64_t{1} << (cell & 63);
        const std::uint32_t d = kStays - static_cast<std::uint32_t>(taken) * (kStays - octant);
        destination[i] = static_cast<std::uint8_t>(d);
        counter.add(d);
    }
    counter.flush();
    const std::size_t* counts = counter.total;

    // Second pass: each group in its place, kept points first, then octants 0 to 7. The two
    // halves of the range are moved side by side, each with its own cursors (the second half's
    // start where the first half's end), so that two independent chains of stores overlap.
    std::size_t start[9];
    start[kStays] = 0;
    std::size_t next = counts[kStays];
    for (int o = 0; o < 8; ++o) {
        start[o] = next;
        next += counts[o];
    }
    PointRecord* lower[9];
    PointRecord* upper[9];
    for (int d = 0; d < 9; ++d) {
        lower[d] = target + start[d];
        upper[d] = target + start[d] + firstHalf[d];
    }
    for (std::size_t i = 0; i < half; ++i) {
        *lower[destination[i]]++ = source[i];
        *upper[destination[half + i]]++ = source[half + i];
    }
    if (count % 2 != 0) *upper[destination[count - 1]]++ = source[count - 1];

    occupancy.clearCellsOf(grid, target, counts[kStays]);
    if (!emitNode(run, key, target, counts[kStays], error)) return false;

    for (std::uint32_t o = 0; o < 8; ++o) {
        const std::size_t n = counts[o];
        if (n == 0) continue;
        const NodeKey child = childKey(key, o);
        PointRecord* childPoints = target + start[o];
        if (isLeaf(run, child, n)) {
            if (!emitLeaf(run, child, childPoints, n, error)) return false;
        } else if (!splitRange(run, child, childPoints, source + start[o], n, error)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool splitInMemory(IndexerRun& run, const NodeKey& key, PointArray& points, std::string& error) {
    // Kept from node to node: the pages of a fresh block of hundreds of megabytes cost more to
    // fault in than the split itself. Every element is written before it is read.
    auto* other = static_cast<PointRecord*>(run.splitPoints.reserve(points.size() * sizeof(PointRecord) + 1));
    run.destinations.reserve(points.size() + 1);
    const bool ok = splitRange(run, key, points.data(), other, points.size(), error);
    points.release();
    return ok;
}

}  // namespace ovcf
