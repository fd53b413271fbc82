#include "navigation/DepthStatistics.h"

#include <algorithm>
#include <cmath>

namespace ovcf {

DepthStatistics depthStatistics(double x0, double y0, double x1, double y1, int viewportWidth, int viewportHeight,
                                double n, double f, const DepthReader& read) {
    DepthStatistics stats;
    if (viewportWidth <= 0 || viewportHeight <= 0 || !read) return stats;
    const int left = std::max(0, static_cast<int>(std::floor(std::min(x0, x1))));
    const int top = std::max(0, static_cast<int>(std::floor(std::min(y0, y1))));
    const int right = std::min(viewportWidth, static_cast<int>(std::ceil(std::max(x0, x1))));
    const int bottom = std::min(viewportHeight, static_cast<int>(std::ceil(std::max(y0, y1))));
    const int width = right - left, height = bottom - top;
    if (width < 1 || height < 1) return stats;
    std::vector<float> depth;
    if (!read(left, viewportHeight - bottom, width, height, depth)) return stats;
    std::vector<double> distances;
    distances.reserve(depth.size());
    for (float d : depth)
        if (d < 1.0f) distances.push_back(linearDistance(d, n, f));
    if (distances.empty()) return stats;
    std::sort(distances.begin(), distances.end());
    const std::size_t count = distances.size();
    const auto at = [&](std::size_t i) { return distances[std::min(i, count - 1)]; };
    stats.found = true;
    stats.nearest = at(static_cast<std::size_t>(std::floor(0.02 * count)));
    stats.median = at(count / 2);
    stats.farthest = at(static_cast<std::size_t>(std::floor(0.98 * count)));
    return stats;
}

}  // namespace ovcf
