// The two passes that split a node's points, for a stretch of them: marking the first point of
// each cell (it stays in the node) and moving every point to its group (kept points first, then
// octants 0 to 7). A node split on one thread is a single stretch; on several threads each takes
// stretches of its own (ParallelPartition).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "import/NodeGrid.h"

namespace ovcf {

constexpr std::uint8_t kKeptGroup = 8;  // the group of the points that stay in the node

// How many points of a stretch go to each group, for its first and its second half apart: the
// two halves are moved side by side, each with cursors of its own, so that two independent
// chains of stores overlap.
struct StretchGroups {
    std::size_t half[2][9] = {};
    std::size_t total(int group) const { return half[0][group] + half[1][group]; }
};

// Marks the cells of source[begin, end) in `words`, in order: destination[i] is kKeptGroup for the
// first point of a cell not marked yet, else the point's octant.
void markCells(const NodeGrid& grid, std::uint64_t* words, const PointRecord* source, std::size_t begin,
               std::size_t end, std::uint8_t* destination, StretchGroups& groups);

using GroupCursors = std::array<PointRecord*, 9>;

// Where each half of each of `stretches` stretches starts in target: the kept points first, then
// octants 0 to 7, each group holding every stretch's first half and then its second half, in
// stretch order. counts[g] receives the size of group g.
void layOutGroups(const StretchGroups* groups, unsigned stretches, PointRecord* target, GroupCursors* lower,
                  GroupCursors* upper, std::size_t counts[9]);

// Moves source[begin, end) to their groups: the first half of the stretch from lower[g], the
// second half from upper[g], for each group g.
void moveToGroups(const PointRecord* source, std::size_t begin, std::size_t end, const std::uint8_t* destination,
                  PointRecord* const lower[9], PointRecord* const upper[9]);

}  // namespace ovcf
