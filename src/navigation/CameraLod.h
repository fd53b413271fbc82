// What the level-of-detail walk sees of the camera and of the clip box.
#pragma once

#include <array>

#include "cloud/LevelOfDetail.h"
#include "cloud/RenderTypes.h"
#include "navigation/Camera.h"

namespace ovcf {

// `clip` holds the clip box's six planes in render space (inside where dot(normal, p) + offset
// >= 0), null while the clip box is off.
LodView lodViewOf(const Camera& camera, const std::array<ClipPlane, 6>* clip);

}  // namespace ovcf
