#include "navigation/NavigationCube.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace ovcf {
namespace {

struct FaceFrame {
    Vec3d normal;
    Vec3d u;  // reading direction; v = normal × u
    const char* label;
};

// Each face's u is the screen's right in the face's own standard view, so labels read upright
// there.
const FaceFrame kFaces[kCubeFaceCount] = {
    {{0, 0, 1}, {1, 0, 0}, "Sopra"},  {{0, 0, -1}, {1, 0, 0}, "Sotto"},
    {{1, 0, 0}, {0, 1, 0}, "Est"},    {{-1, 0, 0}, {0, -1, 0}, "Ovest"},
    {{0, 1, 0}, {-1, 0, 0}, "Nord"},  {{0, -1, 0}, {1, 0, 0}, "Sud"},
};

// The cube spans [-1, 1] on each axis; its projection stays inside a circle of radius √3 half
// edges, which must fit in the square with a small margin.
constexpr double kSqrt3 = 1.7320508075688772;
constexpr double kFill = 0.9;

int faceOfAxis(int axis, bool positive) {
    static constexpr int kPositive[3] = {CubeFaceEast, CubeFaceNorth, CubeFaceTop};
    static constexpr int kNegative[3] = {CubeFaceWest, CubeFaceSouth, CubeFaceBottom};
    return positive ? kPositive[axis] : kNegative[axis];
}

}  // namespace

int standardViewOfFace(int face) { return face >= 0 && face < kCubeFaceCount ? face : -1; }

const char* cubeFaceLabel(int face) {
    return face >= 0 && face < kCubeFaceCount ? kFaces[face].label : "";
}

void NavigationCube::setViewport(int width, int height) {
    width_ = std::max(width, 1);
    height_ = std::max(height, 1);
}

CubeArea NavigationCube::area() const {
    double side = std::min({static_cast<double>(settings_.cubeSize), width_ / 3.0, height_ / 3.0});
    side = std::clamp(side, kMinSide, kMaxSide);
    return {width_ - side, 0.0, side};
}

ScreenPoint NavigationCube::centre() const {
    const CubeArea a = area();
    return {a.x + a.side / 2.0, a.y + a.side / 2.0};
}

double NavigationCube::halfEdgePixels() const { return area().side * kFill / (2.0 * kSqrt3); }

int NavigationCube::hitFace(double x, double y, const Camera& camera) const {
    if (!visible() || !std::isfinite(x) || !std::isfinite(y)) return CubeFaceNone;
    const ScreenPoint c = centre();
    const double h = halfEdgePixels();
    const CameraBasis b = camera.basis();
    // A ray along the viewing direction through the pixel, started well in front of the cube.
    const Vec3d origin = b.right * ((x - c.x) / h) + b.up * ((c.y - y) / h) - b.forward * 10.0;
    const Vec3d dir = b.forward;

    double enter = -1e300, leave = 1e300;
    int enterFace = CubeFaceNone;
    for (int axis = 0; axis < 3; ++axis) {
        const double o = component(origin, axis), d = component(dir, axis);
        if (std::fabs(d) < 1e-12) {
            if (std::fabs(o) > 1.0) return CubeFaceNone;
            continue;
        }
        const double t1 = (-1.0 - o) / d, t2 = (1.0 - o) / d;
        const double tNear = std::min(t1, t2), tFar = std::max(t1, t2);
        if (tNear > enter) {
            enter = tNear;
            enterFace = faceOfAxis(axis, d < 0.0);
        }
        leave = std::min(leave, tFar);
    }
    return enter <= leave ? enterFace : CubeFaceNone;
}

bool NavigationCube::updateHover(double x, double y, const Camera& camera) {
    hovered_ = hitFace(x, y, camera);
    return hovered_ != CubeFaceNone;
}

bool NavigationCube::pressLeft(double x, double y, const Camera& camera) {
    pressed_ = hitFace(x, y, camera);
    pressMoved_ = false;
    pressX_ = x;
    pressY_ = y;
    return pressed_ != CubeFaceNone;
}

void NavigationCube::moveTo(double x, double y) {
    if (pressed_ == CubeFaceNone) return;
    if (std::fabs(x - pressX_) > kClickTolerance || std::fabs(y - pressY_) > kClickTolerance)
        pressMoved_ = true;
}

int NavigationCube::releaseLeft(double x, double y) {
    moveTo(x, y);
    const int face = pressed_;
    pressed_ = CubeFaceNone;
    // The few pixels a click may move orbit the view a little; the standard view replaces that.
    if (face == CubeFaceNone || pressMoved_) return -1;
    return standardViewOfFace(face);
}

std::vector<CubeFaceQuad> NavigationCube::visibleFaces(const Camera& camera) const {
    std::vector<CubeFaceQuad> faces;
    if (!visible()) return faces;
    const ScreenPoint c = centre();
    const double h = halfEdgePixels();
    const CameraBasis b = camera.basis();
    auto toScreen = [&](const Vec3d& p) {
        return ScreenPoint{c.x + dot(p, b.right) * h, c.y - dot(p, b.up) * h};
    };
    auto screenVector = [&](const Vec3d& v) {
        return ScreenPoint{dot(v, b.right) * h, -dot(v, b.up) * h};
    };

    std::vector<std::pair<double, CubeFaceQuad>> sorted;
    for (int face = 0; face < kCubeFaceCount; ++face) {
        const FaceFrame& f = kFaces[face];
        const double facing = -dot(f.normal, b.forward);
        if (facing <= 1e-6) continue;
        const Vec3d v = cross(f.normal, f.u);
        CubeFaceQuad quad;
        quad.face = face;
        quad.corners = {toScreen(f.normal - f.u - v), toScreen(f.normal + f.u - v),
                        toScreen(f.normal + f.u + v), toScreen(f.normal - f.u + v)};
        quad.centre = toScreen(f.normal);
        quad.textRight = screenVector(f.u);
        quad.textUp = screenVector(v);
        quad.facing = std::min(facing, 1.0);
        quad.label = f.label;
        quad.highlighted = face == hovered_;
        // Depth of the face centre along the viewing direction: larger is farther.
        sorted.emplace_back(dot(f.normal, b.forward), quad);
    }
    std::stable_sort(sorted.begin(), sorted.end(),
                     [](const auto& a, const auto& b2) { return a.first > b2.first; });
    for (auto& entry : sorted) faces.push_back(entry.second);
    return faces;
}

}  // namespace ovcf
