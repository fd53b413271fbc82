#include "view/ToolOverlay.h"

#include <algorithm>
#include <cmath>

namespace ovcf {
namespace {

LineVertex vertex(double x, double y, const float color[3]) {
    LineVertex v;
    v.position[0] = static_cast<float>(x);
    v.position[1] = static_cast<float>(y);
    std::copy(color, color + 3, v.color);
    return v;
}

void rectangle(std::vector<LineVertex>& out, double x0, double y0, double x1, double y1, const float color[3]) {
    out = {vertex(x0, y0, color), vertex(x1, y0, color), vertex(x1, y1, color), vertex(x0, y1, color)};
}

constexpr std::uint32_t kPolygonCapacity = kLineBufferVertices[static_cast<std::size_t>(LineBufferSlot::Polygon)];

}  // namespace

void ToolOverlay::build(const ToolState& state) {
    band_.clear();
    outline_.clear();
    drawings_.clear();
    if (state.rectDrag) {
        rectangle(band_, state.corner0X, state.corner0Y, state.corner1X, state.corner1Y, kBandColor);
        drawings_.push_back({LineBufferSlot::RubberBand, LinePrimitive::LineLoop, band_, 1.0f});
    }
    if (state.shapeDrag && state.selectionTool == SelectionToolRectangle) {
        rectangle(band_, state.startX, state.startY, state.currentX, state.currentY, kShapeColor);
        drawings_.push_back({LineBufferSlot::RubberBand, LinePrimitive::LineLoop, band_, 1.0f});
    }
    if (state.shapeDrag && state.selectionTool == SelectionToolCircle) {
        const double r = std::hypot(state.currentX - state.startX, state.currentY - state.startY);
        // About one segment every four pixels of rim: round at any size, within the buffer.
        const int segments = std::clamp(static_cast<int>(2.0 * 3.14159265358979 * r / 4.0), 16,
                                        static_cast<int>(kPolygonCapacity));
        for (int i = 0; i < segments; ++i) {
            const double a = 2.0 * 3.14159265358979 * i / segments;
            outline_.push_back(vertex(state.startX + r * std::cos(a), state.startY + r * std::sin(a), kShapeColor));
        }
        drawings_.push_back({LineBufferSlot::Polygon, LinePrimitive::LineLoop, outline_, 1.0f});
    }
    if (state.selectionTool == SelectionToolPolygon && !state.polygon.empty()) {
        // The outline closes through the cursor, as the polygon would if confirmed now. Past the
        // buffer's size the oldest vertices are left out of the drawing, not of the polygon.
        const std::size_t vertices = state.polygon.size() / 2;
        const std::size_t shown = std::min<std::size_t>(vertices, kPolygonCapacity - 1);
        for (std::size_t i = vertices - shown; i < vertices; ++i)
            outline_.push_back(vertex(state.polygon[2 * i], state.polygon[2 * i + 1], kPolygonColor));
        outline_.push_back(vertex(state.currentX, state.currentY, kPolygonColor));
        drawings_.push_back({LineBufferSlot::Polygon,
                             vertices >= 2 ? LinePrimitive::LineLoop : LinePrimitive::LineStrip, outline_, 1.0f});
    }
}

}  // namespace ovcf
