// How far the visible points under a window rectangle are: near (2nd percentile), median and
// far (98th percentile) distances along the view, from the last frame's depth buffer. Shared by
// the zoom window and the clip box.
#pragma once

#include <functional>
#include <vector>

namespace ovcf {

struct DepthStatistics {
    bool found = false;
    double nearest = 0, median = 0, farthest = 0;  // metres
};

// Reads the depth of a pixel rectangle (x, y from the bottom-left, as GL counts rows) into
// `depth` (row by row, bottom row first); false when there is no depth to read.
using DepthReader = std::function<bool(int x, int y, int width, int height, std::vector<float>& depth)>;

// A depth buffer value 0..1 as metres along the viewing axis, for the camera's near and far planes.
inline double linearDistance(double depth, double nearPlane, double farPlane) {
    return 2 * nearPlane * farPlane / (farPlane + nearPlane - (farPlane - nearPlane) * (2.0 * depth - 1.0));
}

// The rectangle is widened to whole pixels and clamped to the viewport; samples at 1.0 are
// background. `nearPlane` and `farPlane` turn depth values into distances.
DepthStatistics depthStatistics(double x0, double y0, double x1, double y1, int viewportWidth, int viewportHeight,
                                double nearPlane, double farPlane, const DepthReader& read);

}  // namespace ovcf
