// A shape drawn on the view by a selection tool, in window pixels (origin top-left, y down), and
// the tests the selection runs against it: one per projected point and one per projected node box.
#pragma once

#include <cstdint>
#include <vector>

namespace ovcf {

enum ShapeKind : std::uint32_t { ShapeNone = 0, ShapeRectangle = 1, ShapeCircle = 2, ShapePolygon = 3 };

class ScreenShape {
public:
    // Two opposite corners, in any order.
    void setRectangle(float x0, float y0, float x1, float y1);
    // The centre and any point of the rim.
    void setCircle(float cx, float cy, float rx, float ry);
    // Vertices as x, y pairs in drawing order, closed implicitly. Fewer than three vertices make
    // no shape at all.
    void setPolygon(std::vector<float>&& xyPairs);
    void clear();

    ShapeKind kind() const { return kind_; }
    // The name the log uses: "nessuno", "rettangolo", "cerchio" or "poligono".
    const char* name() const;

    // Rectangle edges and the circle's rim are inside; polygons follow the even-odd crossing rule.
    bool contains(float x, float y) const;
    // False when the shape's bounding box lies wholly to one side of the given box; touching
    // counts as overlapping. Always false without a shape.
    bool boxOverlaps(float minX, float minY, float maxX, float maxY) const;

    float minX() const { return minX_; }
    float minY() const { return minY_; }
    float maxX() const { return maxX_; }
    float maxY() const { return maxY_; }
    float centreX() const { return cx_; }
    float centreY() const { return cy_; }
    float radius() const { return radius_; }
    const std::vector<float>& vertices() const { return vertices_; }

private:
    bool polygonContains(float x, float y) const;

    ShapeKind kind_ = ShapeNone;
    std::vector<float> vertices_;
    float cx_ = 0, cy_ = 0, radius_ = 0;
    float minX_ = 0, minY_ = 0, maxX_ = 0, maxY_ = 0;
};

}  // namespace ovcf
