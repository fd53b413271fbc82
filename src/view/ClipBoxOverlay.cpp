#include "view/ClipBoxOverlay.h"

#include <algorithm>

namespace ovcf {
namespace {

void add(std::vector<LineVertex>& out, const Vec3d& p, const float color[3]) {
    LineVertex v;
    v.position[0] = static_cast<float>(p.x);
    v.position[1] = static_cast<float>(p.y);
    v.position[2] = static_cast<float>(p.z);
    std::copy(color, color + 3, v.color);
    out.push_back(v);
}

}  // namespace

void ClipBoxOverlay::build(const ClipBox& box, const Vec3d& origin) {
    vertices_.clear();
    drawings_.clear();
    if (!box.isActive()) return;
    const Vec3d c = box.centre() - origin;
    const Vec3d e[3] = {box.axis(0) * box.halfExtent(0), box.axis(1) * box.halfExtent(1), box.axis(2) * box.halfExtent(2)};
    const auto corner = [&](int i) {
        return c + e[0] * (i & 1 ? 1.0 : -1.0) + e[1] * (i & 2 ? 1.0 : -1.0) + e[2] * (i & 4 ? 1.0 : -1.0);
    };
    // Edges join corners that differ in one axis bit.
    for (int i = 0; i < 8; ++i)
        for (int bit : {1, 2, 4})
            if (!(i & bit)) {
                add(vertices_, corner(i), kEdgeColor);
                add(vertices_, corner(i | bit), kEdgeColor);
            }
    const int hot = box.pressedHandle() != ClipBox::kNoHandle ? box.pressedHandle() : box.hoveredHandle();
    for (int face = 0; face < 6; ++face) {
        const Vec3d centre = box.faceCentre(face) - origin;
        const int a = face / 2;
        const int u = (a + 1) % 3, v = (a + 2) % 3;
        const double size = 0.2 * std::min(box.halfExtent(u), box.halfExtent(v));
        const float* color = face == hot ? kHotHandleColor : kHandleColor;
        add(vertices_, centre - box.axis(u) * size, color);
        add(vertices_, centre + box.axis(u) * size, color);
        add(vertices_, centre - box.axis(v) * size, color);
        add(vertices_, centre + box.axis(v) * size, color);
    }
    drawings_.push_back({LineBufferSlot::ClipBox, LinePrimitive::Lines, vertices_, 1.0f});
}

}  // namespace ovcf
