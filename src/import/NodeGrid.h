// The sampling grid of one node: G x G x G cells over the node's cube, with the octant of each
// point, and the occupancy bitmap that keeps the first point met in every cell.
#pragma once

#include <cstdint>
#include <vector>

#include "import/RootCube.h"
#include "ovcf/NodeKey.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

class NodeGrid {
public:
    // For a node that can be split (level below the root exponent).
    void configure(const RootCube& cube, const NodeKey& key, std::uint32_t gridSize);

    // (cz * G + cy) * G + cx, each cell coordinate clamped to 0..G - 1.
    std::uint32_t cellOf(const PointRecord& p) const {
        std::uint32_t cell, octant;
        locate(p, cell, octant);
        return cell;
    }
    // (x - o.x >= half) + 2 (y - o.y >= half) + 4 (z - o.z >= half).
    std::uint32_t octantOf(const PointRecord& p) const {
        std::uint32_t cell, octant;
        locate(p, cell, octant);
        return octant;
    }
    // Both at once. For a point inside the cube the octant's bits are the top bits of the three
    // cell coordinates (the half side is the top bit of an offset, and the cells divide the side
    // evenly), so they cost nothing more.
    void locate(const PointRecord& p, std::uint32_t& cell, std::uint32_t& octant) const {
        const std::uint32_t cx = coordinate(p.x - origin_[0]);
        const std::uint32_t cy = coordinate(p.y - origin_[1]);
        const std::uint32_t cz = coordinate(p.z - origin_[2]);
        cell = (cz << (2 * log2Grid_)) | (cy << log2Grid_) | cx;
        octant = (cx >> topBit_) | ((cy >> topBit_) << 1) | ((cz >> topBit_) << 2);
    }
    std::uint32_t cellCount() const { return 1u << (3 * log2Grid_); }

private:
    std::uint32_t coordinate(std::uint32_t offset) const {
        const std::uint64_t c = (std::uint64_t{offset} >> shiftRight_) << shiftLeft_;
        return c < gridMax_ ? static_cast<std::uint32_t>(c) : gridMax_;
    }

    std::uint32_t origin_[3] = {0, 0, 0};
    std::uint32_t log2Grid_ = 1;
    std::uint32_t topBit_ = 0;      // log2(G) - 1
    std::uint32_t gridMax_ = 1;     // G - 1
    std::uint32_t shiftRight_ = 0;  // log2(side) - log2(G) when positive (at most 31)
    std::uint32_t shiftLeft_ = 0;   // its opposite when negative
};

// One bit per cell of the grid.
class OccupancyBitmap {
public:
    void resize(std::uint32_t cells) { words_.assign((cells + 63) / 64, 0); }
    std::uint64_t* words() { return words_.data(); }
    const std::uint64_t* words() const { return words_.data(); }
    bool fits(std::uint32_t cells) const { return words_.size() == (cells + 63) / 64; }
    // True when the cell was already taken; takes it either way.
    bool testAndSet(std::uint32_t cell) {
        std::uint64_t& word = words_[cell >> 6];
        const std::uint64_t bit = std::uint64_t{1} << (cell & 63);
        const bool taken = (word & bit) != 0;
        word |= bit;
        return taken;
    }
    // Clears the cells of the points that took them: cheaper than clearing everything when a node
    // kept few points.
    void clearCellsOf(const NodeGrid& grid, const PointRecord* kept, std::size_t count);

private:
    std::vector<std::uint64_t> words_;
};

}  // namespace ovcf
