// The sampling pass of a large node split on several threads with the very result of the serial
// pass: the first point of every cell (in the points' order) stays, every other point goes to its
// octant, and each group keeps the points' order.
//
// Each thread takes a stretch of the points and marks the cells it meets in a bitmap of its own;
// a point first in its cell within its stretch stays only when no earlier stretch met the cell.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/WorkerPool.h"
#include "import/NodeGrid.h"

namespace ovcf {

// Fewest points a stretch gets: below this, handing the work out costs more than it saves.
constexpr std::size_t kPartitionStretchPoints = 16384;

// What the stretches keep from node to node: a clear bitmap each and room for the points whose
// cell an earlier stretch had taken.
struct PartitionScratch {
    std::vector<OccupancyBitmap> bitmaps;
    std::vector<std::vector<std::size_t>> displaced;
    // Room for `stretches` stretches over `cells` cells.
    void prepare(unsigned stretches, std::uint32_t cells);
};

// How many stretches a node of `count` points is cut into on this pool (1: do it serially): two
// a thread, so that a thread busy encoding a node when the split begins leaves its share to the
// others.
unsigned partitionStretches(const WorkerPool& pool, std::size_t count);

// Moves source[0, count) into target as the kept points, then octants 0 to 7, and returns the
// size of each group in counts (index 8: kept; 0 to 7: octants). `destination` has room for
// `count` bytes; the scratch must have been prepared for `stretches`, and is left clear.
void partitionInParallel(WorkerPool& pool, unsigned stretches, const NodeGrid& grid, PartitionScratch& scratch,
                         std::uint8_t* destination, const PointRecord* source, PointRecord* target, std::size_t count,
                         std::size_t counts[9]);

}  // namespace ovcf
