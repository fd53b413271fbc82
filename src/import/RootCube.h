// The cube the octree divides: from the integer bounding box of the quantised points, its origin
// (the box's minimum) and exponent E, the smallest with 2^E units covering the largest extent.
#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string>

#include "import/PointSource.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

// The quantised coordinates seen, read as signed 32-bit values.
struct IntegerBox {
    std::array<std::int32_t, 3> min{std::numeric_limits<std::int32_t>::max(), std::numeric_limits<std::int32_t>::max(),
                                    std::numeric_limits<std::int32_t>::max()};
    std::array<std::int32_t, 3> max{std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::min()};

    void add(const PointRecord& p) {
        const std::int32_t v[3] = {static_cast<std::int32_t>(p.x), static_cast<std::int32_t>(p.y),
                                   static_cast<std::int32_t>(p.z)};
        for (int axis = 0; axis < 3; ++axis) {
            min[axis] = v[axis] < min[axis] ? v[axis] : min[axis];
            max[axis] = v[axis] > max[axis] ? v[axis] : max[axis];
        }
    }
    bool isEmpty() const { return min[0] > max[0] || min[1] > max[1] || min[2] > max[2]; }
};

struct RootCube {
    std::uint32_t origin[3] = {0, 0, 0};  // quantised units
    std::uint32_t exponent = 1;           // side = 2^exponent units
};

bool computeRootCube(const IntegerBox& box, RootCube& cube, std::string& error);

// The world box of the integer box: q * step + offset per axis, ordered.
Bounds3 worldBounds(const IntegerBox& box, const std::array<double, 3>& step, const std::array<double, 3>& offset);

}  // namespace ovcf
