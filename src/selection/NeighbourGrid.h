// The isolated-points filter's counting grid: points per occupied cell, then per cell the points
// of its 3 x 3 x 3 block and, when asked, the points of its 26-connected group of cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "selection/CellGrid.h"

namespace ovcf {

struct NeighbourCell {
    std::int32_t x, y, z;
    std::uint32_t count;       // 0: empty slot
    std::uint32_t neighbours;  // points of the 27-cell block, itself included
    std::uint32_t group;       // points of its connected group (0: not grouped)
};

class NeighbourGrid {
public:
    // Below this many cells the neighbourhoods are counted on the calling thread.
    static constexpr std::size_t kParallelCells = 200000;

    NeighbourGrid() : slots_(64, NeighbourCell{}) {}

    // Adds `n` points to a cell (counts saturate).
    void add(std::int32_t x, std::int32_t y, std::int32_t z, std::uint32_t n);
    void mergeFrom(const NeighbourGrid& other);
    // One coarsening step: cell coordinates halved (rounding down), counts of cells that fall
    // together added up.
    void halve();

    const NeighbourCell* find(std::int32_t x, std::int32_t y, std::int32_t z) const { return find(cellHash(x, y, z), x, y, z); }
    const NeighbourCell* find(std::uint64_t hash, std::int32_t x, std::int32_t y, std::int32_t z) const {
        const std::size_t mask = slots_.size() - 1;
        for (std::size_t s = hash & mask;; s = (s + 1) & mask) {
            const NeighbourCell& slot = slots_[s];
            if (slot.count == 0) return nullptr;
            if (slot.x == x && slot.y == y && slot.z == z) return &slot;
        }
    }

    // Every cell's block sum, on `threads` threads over equal ranges of cells (the calling thread
    // alone below `parallelFrom` cells or with one thread).
    void countNeighbourhoods(unsigned threads, std::size_t parallelFrom = kParallelCells);
    // Connected groups (26-neighbourhood), breadth first: each cell gets its group's point
    // total. Returns the number of groups.
    std::uint64_t formGroups();

    std::size_t size() const { return entries_; }
    std::size_t capacity() const { return slots_.size(); }

private:
    void rehash(std::size_t capacity);
    void reserve(std::size_t n);
    void countRange(const std::size_t* occupied, std::size_t count);

    CellSlots<NeighbourCell> slots_;
    std::size_t entries_ = 0;
};

inline std::uint32_t saturatingAdd(std::uint32_t a, std::uint64_t b) {
    const std::uint64_t sum = a + b;
    return sum > 0xFFFFFFFFull ? 0xFFFFFFFFu : static_cast<std::uint32_t>(sum);
}

}  // namespace ovcf
