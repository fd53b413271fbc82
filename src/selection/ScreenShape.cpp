#include "selection/ScreenShape.h"

#include <algorithm>
#include <cmath>

namespace ovcf {

void ScreenShape::setRectangle(float x0, float y0, float x1, float y1) {
    clear();
    kind_ = ShapeRectangle;
    minX_ = std::min(x0, x1);
    maxX_ = std::max(x0, x1);
    minY_ = std::min(y0, y1);
    maxY_ = std::max(y0, y1);
}

void ScreenShape::setCircle(float cx, float cy, float rx, float ry) {
    clear();
    kind_ = ShapeCircle;
    cx_ = cx;
    cy_ = cy;
    const double dx = static_cast<double>(rx) - cx;
    const double dy = static_cast<double>(ry) - cy;
    radius_ = static_cast<float>(std::sqrt(dx * dx + dy * dy));
    minX_ = cx - radius_;
    maxX_ = cx + radius_;
    minY_ = cy - radius_;
    maxY_ = cy + radius_;
}

void ScreenShape::setPolygon(std::vector<float>&& xyPairs) {
    clear();
    vertices_ = std::move(xyPairs);
    vertices_.resize(vertices_.size() & ~std::size_t{1});
    if (vertices_.size() < 6) {
        vertices_.clear();
        return;
    }
    kind_ = ShapePolygon;
    minX_ = maxX_ = vertices_[0];
    minY_ = maxY_ = vertices_[1];
    for (std::size_t i = 2; i < vertices_.size(); i += 2) {
        minX_ = std::min(minX_, vertices_[i]);
        maxX_ = std::max(maxX_, vertices_[i]);
        minY_ = std::min(minY_, vertices_[i + 1]);
        maxY_ = std::max(maxY_, vertices_[i + 1]);
    }
}

void ScreenShape::clear() {
    kind_ = ShapeNone;
    vertices_.clear();
    cx_ = cy_ = radius_ = 0;
    minX_ = minY_ = maxX_ = maxY_ = 0;
}

const char* ScreenShape::name() const {
    switch (kind_) {
        case ShapeRectangle: return "rettangolo";
        case ShapeCircle: return "cerchio";
        case ShapePolygon: return "poligono";
        default: return "nessuno";
    }
}

bool ScreenShape::contains(float x, float y) const {
    switch (kind_) {
        case ShapeRectangle: return x >= minX_ && x <= maxX_ && y >= minY_ && y <= maxY_;
        case ShapeCircle: {
            const float dx = x - cx_;
            const float dy = y - cy_;
            return dx * dx + dy * dy <= radius_ * radius_;
        }
        case ShapePolygon: return polygonContains(x, y);
        default: return false;
    }
}

bool ScreenShape::polygonContains(float x, float y) const {
    // Even-odd rule: a ray to the right crosses the outline an odd number of times from inside.
    bool inside = false;
    const std::size_t n = vertices_.size() / 2;
    for (std::size_t i = 0, j = n - 1; i < n; j = i++) {
        const float xi = vertices_[2 * i], yi = vertices_[2 * i + 1];
        const float xj = vertices_[2 * j], yj = vertices_[2 * j + 1];
        if ((yi > y) != (yj > y)) {
            const float xc = (y - yi) / (yj - yi) * (xj - xi) + xi;
            if (xc > x) inside = !inside;
        }
    }
    return inside;
}

bool ScreenShape::boxOverlaps(float minX, float minY, float maxX, float maxY) const {
    if (kind_ == ShapeNone) return false;
    return !(maxX_ < minX || minX_ > maxX || maxY_ < minY || minY_ > maxY);
}

}  // namespace ovcf
