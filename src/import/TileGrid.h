// The one quantisation of a survey delivered as tiles: the finest scale among the tiles' headers
// (or a given step) and an offset laid, as for one file, around the union of their boxes.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "import/PointSource.h"
#include "import/TileHeader.h"

namespace ovcf {

struct TileGrid {
    std::array<double, 3> step{};
    std::array<double, 3> offset{};
    Bounds3 bounds;  // the union of the tiles' boxes, world units
    // The union box on the grid, when every corner fits the 31-bit range.
    bool quantizedKnown = false;
    std::array<std::uint32_t, 3> quantizedMin{};
    std::array<std::uint32_t, 3> quantizedMax{};
};

// `boxes[i]` is tile i's box: its header's, or measured when the header has none. `step` above 0
// is used instead of the tiles' scales. False with the reason when the union does not fit 31 bits.
bool chooseTileGrid(const std::vector<TileHeader>& tiles, const std::vector<Bounds3>& boxes, double step,
                    TileGrid& grid, std::string& error);

}  // namespace ovcf
