#include "import/RootCube.h"

#include <algorithm>

namespace ovcf {

bool computeRootCube(const IntegerBox& box, RootCube& cube, std::string& error) {
    if (box.isEmpty()) {
        error = "invalid integer bounding box (no points?)";
        return false;
    }
    std::int64_t largest = 0;
    for (int axis = 0; axis < 3; ++axis)
        largest = std::max(largest, std::int64_t{box.max[axis]} - box.min[axis] + 1);
    std::uint32_t exponent = 1;
    while (exponent < 32 && (std::int64_t{1} << exponent) < largest) ++exponent;
    if ((std::int64_t{1} << exponent) < largest) {
        error = "cloud extent cannot be represented with 32-bit coordinates";
        return false;
    }
    cube.exponent = exponent;
    for (int axis = 0; axis < 3; ++axis) cube.origin[axis] = static_cast<std::uint32_t>(box.min[axis]);
    return true;
}

Bounds3 worldBounds(const IntegerBox& box, const std::array<double, 3>& step, const std::array<double, 3>& offset) {
    Bounds3 bounds;
    for (int axis = 0; axis < 3; ++axis) {
        const double a = box.min[axis] * step[axis] + offset[axis];
        const double b = box.max[axis] * step[axis] + offset[axis];
        bounds.min[axis] = std::min(a, b);
        bounds.max[axis] = std::max(a, b);
    }
    return bounds;
}

}  // namespace ovcf
