#include "import/MemorySplit.h"

#include <algorithm>

#include "import/BucketProcessing.h"
#include "import/NodePartition.h"
#include "import/ParallelPartition.h"
#include "import/NodeOutput.h"

namespace ovcf {

namespace {

constexpr std::uint8_t kStays = kKeptGroup;

// The split of a node on one thread: one stretch, the run's own bitmap.
void partitionSerially(const NodeGrid& grid, OccupancyBitmap& occupancy, std::uint8_t* destination,
                       const PointRecord* source, PointRecord* target, std::size_t count, std::size_t counts[9]) {
    StretchGroups groups;
    markCells(grid, occupancy.words(), source, 0, count, destination, groups);
    GroupCursors lower, upper;
    layOutGroups(&groups, 1, target, &lower, &upper, counts);
    moveToGroups(source, 0, count, destination, lower.data(), upper.data());
    occupancy.clearCellsOf(grid, target, counts[kStays]);
}

// Samples the node whose points are source[0, count), writes it, and recurses into the children;
// target[0, count) receives the node's points grouped as kept, octant 0, ..., octant 7, and the
// children use the two arrays the other way round.
bool splitRange(IndexerRun& run, const NodeKey& key, PointRecord* source, PointRecord* target, std::size_t count,
                std::string& error) {
    run.grid.configure(run.cube, key, run.options.gridSize);
    // Locals, not members: the byte stores below may alias anything, and the compiler would
    // reload every member after each of them.
    const NodeGrid grid = run.grid;
    std::uint8_t* const destination = static_cast<std::uint8_t*>(run.destinations.reserve(count + 1));

    std::size_t counts[9];
    const unsigned stretches = partitionStretches(run.workers, count);
    if (stretches > 1) {
        run.stretches.prepare(stretches, grid.cellCount());
        partitionInParallel(run.workers, stretches, grid, run.stretches, destination, source, target, count, counts);
    } else {
        partitionSerially(grid, run.occupancy, destination, source, target, count, counts);
    }
    std::size_t start[9];
    start[kStays] = 0;
    std::size_t next = counts[kStays];
    for (int o = 0; o < 8; ++o) {
        start[o] = next;
        next += counts[o];
    }

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
    // The nodes still being encoded read these arrays, until the queue is drained.
    DrainOnExit drained(run.output);
    return splitRange(run, key, points.data(), other, points.size(), error) && run.output.drain(error);
}

}  // namespace ovcf
