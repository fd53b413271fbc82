// The drawn point under a window pixel, from the last frame's depth buffer: the nearest
// non-background sample within 12 pixels of the cursor, so that a click between sparse points
// still lands on one of them.
#pragma once

#include <optional>

#include "navigation/DepthStatistics.h"

namespace ovcf {

struct DepthSample {
    int x = 0, y = 0;       // the sample's pixel, window coordinates (origin top-left, y down)
    double distance = 0.0;  // metres along the viewing axis
};

// Pixels searched on each side of the cursor.
constexpr int kDepthPickReach = 12;

// The cursor is rounded to the nearest pixel and must lie in the viewport. Of the samples below
// 1.0 in the ±12-pixel window (clamped to the viewport), the one nearest the cursor wins, the
// first in reading order (rows from the bottom) on equal distances.
std::optional<DepthSample> pickDepth(double x, double y, int viewportWidth, int viewportHeight, double nearPlane,
                                     double farPlane, const DepthReader& read);

}  // namespace ovcf
