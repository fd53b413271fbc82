// What the tools have in progress, as line drawings over the picture in window pixels: the
// rubber band of the rectangle tools, the rectangle or circle being dragged, the polygon with a
// rubber line to the cursor. The drawings point into this object's own vertices: keep it until
// the frame is drawn.
#pragma once

#include <vector>

#include "navigation/ToolStateMachine.h"
#include "view/LineRenderer.h"

namespace ovcf {

class ToolOverlay {
public:
    // Light grey rubber band, amber selection shapes, cyan polygon.
    static constexpr float kBandColor[3] = {0.92f, 0.92f, 0.92f};
    static constexpr float kShapeColor[3] = {1.0f, 0.78f, 0.15f};
    static constexpr float kPolygonColor[3] = {0.2f, 0.9f, 1.0f};

    void build(const ToolState& state);
    const std::vector<LineDrawing>& drawings() const { return drawings_; }

private:
    std::vector<LineVertex> band_;
    std::vector<LineVertex> outline_;
    std::vector<LineDrawing> drawings_;
};

}  // namespace ovcf
