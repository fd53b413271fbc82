#include "navigation/DepthPick.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace ovcf {

std::optional<DepthSample> pickDepth(double x, double y, int viewportWidth, int viewportHeight, double nearPlane,
                                     double farPlane, const DepthReader& read) {
    if (viewportWidth <= 0 || viewportHeight <= 0 || !read || !std::isfinite(x) || !std::isfinite(y)) return {};
    const double rx = std::round(x), ry = std::round(y);
    if (rx < 0 || ry < 0 || rx >= viewportWidth || ry >= viewportHeight) return {};
    const int cx = static_cast<int>(rx), cy = static_cast<int>(ry);
    const int left = std::max(0, cx - kDepthPickReach), right = std::min(viewportWidth - 1, cx + kDepthPickReach);
    const int top = std::max(0, cy - kDepthPickReach), bottom = std::min(viewportHeight - 1, cy + kDepthPickReach);
    const int width = right - left + 1, height = bottom - top + 1;
    std::vector<float> depth;
    // GL counts rows from the bottom: the window's bottom row of the block is GL row h - 1 - bottom.
    if (!read(left, viewportHeight - 1 - bottom, width, height, depth) ||
        depth.size() < static_cast<std::size_t>(width) * static_cast<std::size_t>(height))
        return {};
    long best = std::numeric_limits<long>::max();
    std::optional<DepthSample> found;
    float foundDepth = 1.0f;
    for (int row = 0; row < height; ++row) {
        const int py = bottom - row;
        for (int column = 0; column < width; ++column) {
            const float d = depth[static_cast<std::size_t>(row) * width + column];
            if (!(d < 1.0f)) continue;
            const int px = left + column;
            const long dx = px - cx, dy = py - cy;
            const long squared = dx * dx + dy * dy;
            if (squared >= best) continue;
            best = squared;
            found = DepthSample{px, py, 0.0};
            foundDepth = d;
        }
    }
    if (found) found->distance = linearDistance(foundDepth, nearPlane, farPlane);
    return found;
}

}  // namespace ovcf
