// The spacing filter's grid: per occupied cell the point nearest the cell's centre, ties to the
// lowest global index, so that the kept point never depends on the order points arrive in.
#pragma once

#include <cstdint>
#include <vector>

#include "selection/CellGrid.h"

namespace ovcf {

struct SpacingCell {
    std::int32_t x, y, z;
    float distance;  // squared distance from the cell's centre, quantised units
    // The global index of the kept point, stored inverted: the all-ones index of an empty slot is
    // then 0, and fresh zeroed memory is an empty table without a pass to fill it.
    std::uint64_t invertedIndex;

    static SpacingCell make(std::int32_t x, std::int32_t y, std::int32_t z, float distance, std::uint64_t index) {
        return {x, y, z, distance, ~index};
    }
    std::uint64_t index() const { return ~invertedIndex; }
    bool empty() const { return invertedIndex == 0; }
    bool sameCell(const SpacingCell& other) const { return x == other.x && y == other.y && z == other.z; }
    // Whether this point is kept rather than `other` of the same cell: nearer the centre, or as
    // near with a lower index.
    bool beats(const SpacingCell& other) const {
        return distance < other.distance || (distance == other.distance && index() < other.index());
    }
};

class SpacingGrid {
public:
    SpacingGrid() : slots_(64, SpacingCell{}) {}

    // `hash` is cellHash(cell.x, cell.y, cell.z); the point replaces the kept one when nearer,
    // or as near with a lower index.
    void add(std::uint64_t hash, const SpacingCell& cell) {
        std::size_t mask = slots_.size() - 1;
        for (std::size_t s = hash & mask;; s = (s + 1) & mask) {
            SpacingCell& slot = slots_[s];
            if (slot.empty()) {
                if (cellTableFull(entries_ + 1, slots_.size())) {
                    rehash(cellTableCapacity(entries_ + 1));
                    place(hash, cell);
                } else {
                    slot = cell;
                }
                ++entries_;
                return;
            }
            if (slot.sameCell(cell)) {
                if (cell.beats(slot)) {
                    slot.distance = cell.distance;
                    slot.invertedIndex = cell.invertedIndex;
                }
                return;
            }
        }
    }

    // Appends the kept point of every cell in slot order and empties the table, which stays as
    // large as it was, to be filled again.
    void takeKept(std::vector<std::uint64_t>& out);
    // The same with each kept cell handed to each(cell).
    template <class Each>
    void takeCells(const Each& each) {
        for (SpacingCell& cell : slots_) {
            if (cell.empty()) continue;
            each(static_cast<const SpacingCell&>(cell));
            cell = SpacingCell{};
        }
        entries_ = 0;
    }

    std::size_t size() const { return entries_; }
    std::size_t capacity() const { return slots_.size(); }

private:
    // Into a free slot; the cell is not in the table and there is room.
    void place(std::uint64_t hash, const SpacingCell& cell) {
        const std::size_t mask = slots_.size() - 1;
        std::size_t s = hash & mask;
        while (!slots_[s].empty()) s = (s + 1) & mask;
        slots_[s] = cell;
    }
    void rehash(std::size_t capacity);

    CellSlots<SpacingCell> slots_;
    std::size_t entries_ = 0;
};

}  // namespace ovcf
