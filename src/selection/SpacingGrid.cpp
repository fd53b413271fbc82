#include "selection/SpacingGrid.h"

namespace ovcf {

void SpacingGrid::rehash(std::size_t capacity) {
    CellSlots<SpacingCell> old(capacity, SpacingCell{});
    old.swap(slots_);
    // Slot order: the new slots of neighbouring old ones lie close together.
    for (const SpacingCell& cell : old)
        if (!cell.empty()) place(cellHash(cell.x, cell.y, cell.z), cell);
}

void SpacingGrid::reserve(std::size_t n) {
    const std::size_t capacity = cellTableCapacity(n);
    if (capacity > slots_.size()) rehash(capacity);
}

void SpacingGrid::mergeFrom(const SpacingGrid& other) {
    reserve(entries_ + other.entries_);
    for (const SpacingCell& cell : other.slots_)
        if (!cell.empty()) add(cellHash(cell.x, cell.y, cell.z), cell);
}

void SpacingGrid::appendKept(std::vector<std::uint64_t>& out) const {
    out.reserve(out.size() + entries_);
    for (const SpacingCell& cell : slots_)
        if (!cell.empty()) out.push_back(cell.index());
}

}  // namespace ovcf
