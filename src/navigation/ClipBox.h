// The clip box: an oriented box in world coordinates, built from a rectangle on the view and the
// depth of the points under it, outside which points are neither drawn nor selected nor, when
// asked, handed back. Its six faces can be dragged by the handles at their centres.
//
// Axes: X is the screen's right when the box was made, Y the screen's up, Z the viewing
// direction. Face i lies on axis i / 2; even faces on the positive side.
#pragma once

#include <array>

#include "cloud/RenderTypes.h"
#include "core/Vec3.h"
#include "navigation/Camera.h"

namespace ovcf {

class ClipBox {
public:
    static constexpr int kNoHandle = -1;
    // Half-extents at or below this make an empty box.
    static constexpr double kEmpty = 1e-9;
    // A dragged face never comes nearer its opposite than 1 cm.
    static constexpr double kMinDraggedHalf = 0.005;
    // Both sides of a rectangle must be at least this many pixels to build a box.
    static constexpr double kMinRectangle = 4.0;

    bool empty() const { return half_[0] <= kEmpty || half_[1] <= kEmpty || half_[2] <= kEmpty; }
    // Switched on and not empty: only then does the box clip anything.
    bool isActive() const { return active_ && !empty(); }
    bool activeFlag() const { return active_; }
    void setActive(bool on) { active_ = on; }
    void clear();

    // The faces belong to the box; an empty box holds everything.
    bool contains(const Vec3d& world) const;
    // Separating axes: the world's three, then the box's three; touching overlaps. True for an
    // empty box.
    bool overlapsBox(const Vec3d& min, const Vec3d& max) const;
    // Six planes in render space (world minus `origin`), inside where normal·p + offset >= 0.
    std::array<ClipPlane, 6> renderPlanes(const Vec3d& origin) const;

    Vec3d faceCentre(int face) const;
    Vec3d faceNormal(int face) const;
    void moveFace(int face, double delta);
    // Factors not above 0 are ignored; the depth changes around the same centre.
    void scaleThickness(double factor);

    // From two window corners and a depth range along the view; false (box unchanged) when a side
    // of the rectangle is under 4 pixels. The box is switched on.
    bool buildFromRectangle(const Camera& camera, double x0, double y0, double x1, double y1, double depthFrom,
                            double depthTo);

    // Handles. The face under (x, y) within 12 pixels, or kNoHandle (also while not active).
    int hitHandle(const Camera& camera, double x, double y) const;
    bool pressHandle(int face, double x, double y);
    void dragHandle(const Camera& camera, double x, double y);
    void releaseHandle() { pressed_ = kNoHandle; }
    void forgetHandles() { pressed_ = hovered_ = kNoHandle; }
    int pressedHandle() const { return pressed_; }
    int hoveredHandle() const { return hovered_; }
    void setHoveredHandle(int face) { hovered_ = face; }

    const Vec3d& centre() const { return centre_; }
    const Vec3d& axis(int i) const { return axes_[i]; }
    double halfExtent(int i) const { return half_[i]; }

private:
    bool active_ = false;
    Vec3d centre_;
    Vec3d axes_[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    double half_[3] = {0, 0, 0};
    int pressed_ = kNoHandle;
    int hovered_ = kNoHandle;
    double lastX_ = 0, lastY_ = 0;
};

}  // namespace ovcf
