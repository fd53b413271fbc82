#include "import/MemorySplit.h"

#include <algorithm>
#include <array>
#include <vector>

#include "import/BucketProcessing.h"
#include "import/NodePartition.h"
#include "import/ParallelPartition.h"
#include "import/NodeOutput.h"

namespace ovcf {

namespace {

constexpr std::uint8_t kStays = kKeptGroup;

// Children below this many points are split as whole subtrees, one a thread; larger ones node by
// node, each node on all threads.
constexpr std::size_t kSubtreePoints = std::size_t{1} << 20;

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

// A node of a subtree split on a worker, recorded for the caller to write in order.
struct SubtreeNode {
    NodeKey key;
    const PointRecord* points;
    std::size_t count;
    bool leaf;
};

// Splits the subtree of node `key` on one thread with a scratch of its own, recording its nodes in
// the order the serial split would write them. Like splitRange, it leaves every node's points in
// place in the two arrays.
void splitSubtree(const IndexerRun& run, SubtreeScratch& scratch, const NodeKey& key, PointRecord* source,
                  PointRecord* target, std::size_t count, std::vector<SubtreeNode>& nodes) {
    NodeGrid grid;
    grid.configure(run.cube, key, run.options.gridSize);
    auto* const destination = static_cast<std::uint8_t*>(scratch.destinations.reserve(count + 1));
    std::size_t counts[9];
    partitionSerially(grid, scratch.occupancy, destination, source, target, count, counts);
    nodes.push_back({key, target, counts[kStays], false});
    std::size_t start = counts[kStays];
    for (std::uint32_t o = 0; o < 8; ++o) {
        const std::size_t n = counts[o];
        const NodeKey child = childKey(key, o);
        if (n == 0) continue;
        if (isLeaf(run, child, n)) nodes.push_back({child, target + start, n, true});
        else splitSubtree(run, scratch, child, target + start, source + start, n, nodes);
        start += n;
    }
}

// Samples the node whose points are source[0, count), writes it, and recurses into the children;
// target[0, count) receives the node's points grouped as kept, octant 0, ..., octant 7, and the
// children use the two arrays the other way round.
//
// The children below kSubtreePoints are split first, as whole subtrees on the workers at once;
// their nodes are then written in the serial order, and the larger children split as this one,
// each of its nodes on all threads. Every subtree works in its own ranges of the two arrays.
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

    const bool subtreesOnWorkers = run.workers.threads() > 1;
    std::array<std::uint32_t, 8> subtreeOctants;
    std::array<std::vector<SubtreeNode>, 8> subtrees;
    unsigned subtreeCount = 0;
    for (std::uint32_t o = 0; o < 8; ++o) {
        const std::size_t n = counts[o];
        if (subtreesOnWorkers && n > 0 && n < kSubtreePoints && !isLeaf(run, childKey(key, o), n))
            subtreeOctants[subtreeCount++] = o;
    }
    if (subtreeCount > 0) {
        const std::uint32_t cells = grid.cellCount();
        run.workers.forEach(subtreeCount, [&](unsigned part) {
            SubtreeScratch& scratch = run.subtreeScratch[part];
            if (!scratch.occupancy.fits(cells)) scratch.occupancy.resize(cells);
            const std::uint32_t o = subtreeOctants[part];
            splitSubtree(run, scratch, childKey(key, o), target + start[o], source + start[o], counts[o], subtrees[o]);
        });
    }

    for (std::uint32_t o = 0; o < 8; ++o) {
        const std::size_t n = counts[o];
        if (n == 0) continue;
        const NodeKey child = childKey(key, o);
        PointRecord* childPoints = target + start[o];
        if (!subtrees[o].empty()) {
            for (const SubtreeNode& node : subtrees[o]) {
                const bool ok = node.leaf ? emitLeaf(run, node.key, node.points, node.count, error)
                                          : emitNode(run, node.key, node.points, node.count, error);
                if (!ok) return false;
            }
        } else if (isLeaf(run, child, n)) {
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
