#include "navigation/ClipBox.h"

#include <algorithm>
#include <cmath>

namespace ovcf {

void ClipBox::clear() {
    *this = ClipBox{};
}

bool ClipBox::contains(const Vec3d& world) const {
    if (empty()) return true;
    const Vec3d d = world - centre_;
    for (int a = 0; a < 3; ++a)
        if (std::fabs(dot(axes_[a], d)) > half_[a]) return false;
    return true;
}

bool ClipBox::overlapsBox(const Vec3d& min, const Vec3d& max) const {
    if (empty()) return true;
    const Vec3d boxCentre = (min + max) * 0.5;
    const Vec3d boxHalf = (max - min) * 0.5;
    const Vec3d t = boxCentre - centre_;
    const Vec3d world[3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    const double b[3] = {boxHalf.x, boxHalf.y, boxHalf.z};
    // Projected radii of both boxes on an axis, against the distance of their centres on it.
    const auto separated = [&](const Vec3d& l) {
        double r = 0;
        for (int a = 0; a < 3; ++a) r += half_[a] * std::fabs(dot(axes_[a], l)) + b[a] * std::fabs(dot(world[a], l));
        return std::fabs(dot(t, l)) > r;
    };
    for (const Vec3d& l : world)
        if (separated(l)) return false;
    for (const Vec3d& l : axes_)
        if (separated(l)) return false;
    return true;
}

std::array<ClipPlane, 6> ClipBox::renderPlanes(const Vec3d& origin) const {
    std::array<ClipPlane, 6> planes;
    const Vec3d c = centre_ - origin;
    for (int a = 0; a < 3; ++a) {
        const Vec3d& n = axes_[a];
        const double along = dot(n, c);
        planes[2 * a] = {{float(-n.x), float(-n.y), float(-n.z)}, float(along + half_[a])};
        planes[2 * a + 1] = {{float(n.x), float(n.y), float(n.z)}, float(-along + half_[a])};
    }
    return planes;
}

Vec3d ClipBox::faceNormal(int face) const { return face % 2 == 0 ? axes_[face / 2] : -axes_[face / 2]; }

Vec3d ClipBox::faceCentre(int face) const { return centre_ + faceNormal(face) * half_[face / 2]; }

void ClipBox::moveFace(int face, double delta) {
    if (face < 0 || face > 5) return;
    double& h = half_[face / 2];
    double newHalf = h + delta / 2;
    if (newHalf < kMinDraggedHalf) {
        newHalf = kMinDraggedHalf;
        delta = 2 * (kMinDraggedHalf - h);
    }
    centre_ += faceNormal(face) * (delta / 2);
    h = newHalf;
}

void ClipBox::scaleThickness(double factor) {
    if (!(factor > 0)) return;
    half_[2] = std::max(half_[2] * factor, 1e-6);
}

bool ClipBox::buildFromRectangle(const Camera& camera, double x0, double y0, double x1, double y1, double depthFrom,
                                 double depthTo) {
    const double width = std::fabs(x1 - x0), height = std::fabs(y1 - y0);
    if (width < kMinRectangle || height < kMinRectangle) return false;
    const Vec3d eye = camera.eyePosition();
    const Vec3d toTarget = camera.target - eye;
    const Vec3d forward = length(toTarget) > 0 ? toTarget / length(toTarget) : Vec3d{};
    Vec3d x = cross(forward, {0, 0, 1});
    x = length(x) < 1e-9 ? Vec3d{1, 0, 0} : x / length(x);
    const Vec3d y = cross(x, forward);
    const double middle = (depthFrom + depthTo) / 2;
    const double metresPerPixel = 2 * std::tan(camera.fieldOfView / 2) * middle / camera.viewportHeight;
    const double cx = (x0 + x1) / 2, cy = (y0 + y1) / 2;
    axes_[0] = x;
    axes_[1] = y;
    axes_[2] = forward;
    half_[0] = width / 2 * metresPerPixel;
    half_[1] = height / 2 * metresPerPixel;
    half_[2] = (depthTo - depthFrom) / 2;
    centre_ = eye + forward * middle + x * ((cx - camera.viewportWidth / 2.0) * metresPerPixel) -
              y * ((cy - camera.viewportHeight / 2.0) * metresPerPixel);
    active_ = true;
    return true;
}

int ClipBox::hitHandle(const Camera& camera, double x, double y) const {
    if (!isActive()) return kNoHandle;
    int best = kNoHandle;
    double bestDistance = 144.0;  // 12 pixels, squared
    for (int face = 0; face < 6; ++face) {
        const ProjectedPoint p = camera.project(faceCentre(face));
        if (!p.inFront) continue;
        const double d = (p.x - x) * (p.x - x) + (p.y - y) * (p.y - y);
        if (d < bestDistance) {
            bestDistance = d;
            best = face;
        }
    }
    return best;
}

bool ClipBox::pressHandle(int face, double x, double y) {
    if (!isActive() || face < 0 || face > 5) return false;
    pressed_ = face;
    lastX_ = x;
    lastY_ = y;
    return true;
}

void ClipBox::dragHandle(const Camera& camera, double x, double y) {
    if (pressed_ == kNoHandle) return;
    const double dx = x - lastX_, dy = y - lastY_;
    lastX_ = x;
    lastY_ = y;
    if (dx == 0 && dy == 0) return;
    const Vec3d p = faceCentre(pressed_);
    const Vec3d n = faceNormal(pressed_);
    const ProjectedPoint at = camera.project(p);
    if (!at.inFront) return;
    // About five pixels of length along the normal at the face's distance.
    const double pixelsPerMetre = camera.viewportHeight / (2 * std::tan(camera.fieldOfView / 2));
    const double s = std::max(5 * length(p - camera.eyePosition()) / pixelsPerMetre, 1e-6);
    const ProjectedPoint ahead = camera.project(p + n * s);
    if (!ahead.inFront) return;
    const double vx = (ahead.x - at.x) / s, vy = (ahead.y - at.y) / s;
    const double v2 = vx * vx + vy * vy;
    if (v2 < 0.01) return;  // the normal points almost straight at the eye
    moveFace(pressed_, (vx * dx + vy * dy) / v2);
}

}  // namespace ovcf
