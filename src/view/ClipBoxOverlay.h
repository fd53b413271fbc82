// The clip box as lines in render space: its twelve edges and a cross at each face centre (the
// handles), the hovered or pressed handle in a brighter colour. The drawing points into this
// object's vertices: keep it until the frame is drawn.
#pragma once

#include <vector>

#include "navigation/ClipBox.h"
#include "view/LineRenderer.h"

namespace ovcf {

class ClipBoxOverlay {
public:
    static constexpr float kEdgeColor[3] = {1.0f, 0.55f, 0.1f};
    static constexpr float kHandleColor[3] = {0.9f, 0.9f, 0.9f};
    static constexpr float kHotHandleColor[3] = {1.0f, 1.0f, 0.2f};

    // Nothing while the box is not in use.
    void build(const ClipBox& box, const Vec3d& renderOrigin);
    const std::vector<LineDrawing>& drawings() const { return drawings_; }

private:
    std::vector<LineVertex> vertices_;
    std::vector<LineDrawing> drawings_;
};

}  // namespace ovcf
