#include "import/TileGrid.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "import/Quantization.h"

namespace ovcf {

namespace {

// As for one file: the box in the middle of the 31-bit range, so that points a little outside
// the headers' boxes still fit.
double slackUnits(double widthUnits) {
    return widthUnits < kLargestQuantized ? std::floor((kLargestQuantized - widthUnits) / 2) : 0.0;
}

}  // namespace

bool chooseTileGrid(const std::vector<TileHeader>& tiles, const std::vector<Bounds3>& boxes, double step,
                    TileGrid& grid, std::string& error) {
    grid = TileGrid{};
    for (int axis = 0; axis < 3; ++axis) {
        grid.bounds.min[axis] = std::numeric_limits<double>::infinity();
        grid.bounds.max[axis] = -std::numeric_limits<double>::infinity();
    }
    for (const Bounds3& box : boxes)
        for (int axis = 0; axis < 3; ++axis) {
            grid.bounds.min[axis] = std::min(grid.bounds.min[axis], box.min[axis]);
            grid.bounds.max[axis] = std::max(grid.bounds.max[axis], box.max[axis]);
        }
    for (int axis = 0; axis < 3; ++axis) {
        const Bounds3& b = grid.bounds;
        if (step > 0.0) {
            grid.step[axis] = step;
            const double width = (b.max[axis] - b.min[axis]) / step;
            grid.offset[axis] = gridOffset(b.min[axis], step) - slackUnits(std::ceil(width) + 1.0) * step;
            continue;
        }
        // The first tile with the finest scale lends its offset, so that tiles sharing it keep
        // their integers exactly; a single tile gets what it would get alone.
        std::size_t finest = 0;
        for (std::size_t i = 1; i < tiles.size(); ++i)
            if (std::fabs(tiles[i].header.scale[axis]) < std::fabs(tiles[finest].header.scale[axis])) finest = i;
        const double scale = tiles[finest].header.scale[axis];
        const double origin = tiles[finest].header.offset[axis];
        const double a = (b.min[axis] - origin) / scale;
        const double c = (b.max[axis] - origin) / scale;
        const double low = std::floor(std::min(a, c));
        const double high = std::ceil(std::max(a, c));
        if (!(high - low <= kLargestQuantized)) {
            char text[200];
            std::snprintf(text, sizeof text,
                          "the tiles together extend %.1f m along %c, too much for 31-bit coordinates at a step of "
                          "%g m: use a coarser --step",
                          b.max[axis] - b.min[axis], "XYZ"[axis], std::fabs(scale));
            error = text;
            return false;
        }
        grid.step[axis] = scale;
        grid.offset[axis] = origin + scale * (low - slackUnits(high - low));
    }
    if (step > 0.0 && !checkQuantizationRange(grid.bounds, grid.offset, grid.step, error)) return false;

    grid.quantizedKnown = true;
    for (int axis = 0; axis < 3; ++axis) {
        const double a = (grid.bounds.min[axis] - grid.offset[axis]) / grid.step[axis];
        const double c = (grid.bounds.max[axis] - grid.offset[axis]) / grid.step[axis];
        const double low = std::round(std::min(a, c));
        const double high = std::round(std::max(a, c));
        if (!(low >= 0.0) || !(high <= kLargestQuantized)) {
            grid.quantizedKnown = false;
            break;
        }
        grid.quantizedMin[axis] = static_cast<std::uint32_t>(low);
        grid.quantizedMax[axis] = static_cast<std::uint32_t>(high);
    }
    return true;
}

}  // namespace ovcf
