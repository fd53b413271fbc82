// The selection query the benchmarks select with: a 1600 x 1000 view looking straight down on the
// whole cloud.
#pragma once

#include "navigation/Camera.h"
#include "ovcf/FileFormat.h"
#include "selection/SelectionQuery.h"

namespace ovcf::bench {

constexpr int kViewWidth = 1600, kViewHeight = 1000;

inline SelectionQuery topViewQuery(const FileHeader& header, const Vec3d& reference) {
    Camera camera;
    camera.setViewport(kViewWidth, kViewHeight);
    camera.renderOrigin = reference;
    camera.setStandardView(0);
    camera.fitBox({header.boundsMin[0], header.boundsMin[1], header.boundsMin[2]},
                  {header.boundsMax[0], header.boundsMax[1], header.boundsMax[2]});
    SelectionQuery query;
    query.viewProjection = camera.viewProjection();
    query.localOrigin = reference;
    query.viewportWidth = kViewWidth;
    query.viewportHeight = kViewHeight;
    return query;
}

}  // namespace ovcf::bench
