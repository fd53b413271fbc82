#include "import/NodeGrid.h"

#include <algorithm>
#include <bit>

namespace ovcf {

void NodeGrid::configure(const RootCube& cube, const NodeKey& key, std::uint32_t gridSize) {
    const std::uint32_t sideLog2 = cube.exponent - key.level;  // at least 1 for a node being split
    const std::uint64_t side = std::uint64_t{1} << sideLog2;
    for (int axis = 0; axis < 3; ++axis) {
        const std::uint32_t k = axis == 0 ? key.x : axis == 1 ? key.y : key.z;
        origin_[axis] = static_cast<std::uint32_t>(cube.origin[axis] + std::uint64_t{k} * side);
    }
    log2Grid_ = static_cast<std::uint32_t>(std::countr_zero(gridSize));
    topBit_ = log2Grid_ - 1;
    gridMax_ = gridSize - 1;
    shiftRight_ = sideLog2 > log2Grid_ ? sideLog2 - log2Grid_ : 0;
    shiftLeft_ = sideLog2 < log2Grid_ ? log2Grid_ - sideLog2 : 0;
}

void OccupancyBitmap::clearCellsOf(const NodeGrid& grid, const PointRecord* kept, std::size_t count) {
    if (count >= words_.size() / 8) {
        std::fill(words_.begin(), words_.end(), 0);
        return;
    }
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t cell = grid.cellOf(kept[i]);
        words_[cell >> 6] &= ~(std::uint64_t{1} << (cell & 63));
    }
}

}  // namespace ovcf
