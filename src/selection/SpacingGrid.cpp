#include "selection/SpacingGrid.h"

namespace ovcf {

void SpacingGrid::rehash(std::size_t capacity) {
    CellSlots<SpacingCell> old(capacity, SpacingCell{});
    old.swap(slots_);
    // Slot order: the new slots of neighbouring old ones lie close together.
    for (const SpacingCell& cell : old)
        if (!cell.empty()) place(cellHash(cell.x, cell.y, cell.z), cell);
}

void SpacingGrid::takeKept(std::vector<std::uint64_t>& out) {
    takeCells([&](const SpacingCell& cell) { out.push_back(cell.index()); });
}

}  // namespace ovcf
