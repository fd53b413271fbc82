#include "navigation/Camera.h"

#include <algorithm>
#include <cmath>

namespace ovcf {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegrees = kPi / 180.0;
constexpr double kDegenerateCross = 1e-9;
// Beyond this pitch the eye looks straight down or up and Z can no longer be the screen's up.
constexpr double kPolePitch = 89.9999;

double wrapYaw(double yaw) {
    if (yaw > 180.0 || yaw < -180.0) yaw = std::remainder(yaw, 360.0);
    return yaw;
}

bool finite(double v) { return std::isfinite(v); }
bool finite(const Vec3d& v) { return finite(v.x) && finite(v.y) && finite(v.z); }

}  // namespace

void Camera::setViewport(int width, int height) {
    viewportWidth = std::max(width, 1);
    viewportHeight = std::max(height, 1);
}

Vec3d Camera::eyePosition() const {
    const double cy = std::cos(yaw * kDegrees), sy = std::sin(yaw * kDegrees);
    const double cp = std::cos(pitch * kDegrees), sp = std::sin(pitch * kDegrees);
    return target + Vec3d{cp * cy, cp * sy, sp} * distance;
}

Vec3d Camera::upVector() const {
    if (std::fabs(pitch) < kPolePitch) return {0.0, 0.0, 1.0};
    const double s = pitch > 0.0 ? -1.0 : 1.0;
    return Vec3d{std::cos(yaw * kDegrees), std::sin(yaw * kDegrees), 0.0} * s;
}

CameraBasis Camera::basis() const {
    CameraBasis b;
    b.forward = normalized(target - eyePosition());
    const Vec3d side = cross(b.forward, upVector());
    b.right = length(side) < kDegenerateCross ? Vec3d{1.0, 0.0, 0.0} : normalized(side);
    b.up = cross(b.right, b.forward);
    return b;
}

double Camera::nearPlane() const { return std::max(0.001 * distance, 0.01); }

double Camera::farPlane() const {
    return std::max(1000.0 * nearPlane(), distance + 3.0 * sceneRadius);
}

double Camera::fieldOfViewDegrees() const { return fieldOfView / kDegrees; }

double Camera::pixelsPerMetreAtUnitDistance() const {
    return viewportHeight / (2.0 * std::tan(fieldOfView / 2.0));
}

Mat4d Camera::viewMatrix() const {
    const Vec3d eye = eyePosition() - renderOrigin;
    const Vec3d centre = target - renderOrigin;
    const Vec3d f = normalized(centre - eye);
    Vec3d side = cross(f, upVector());
    if (length(side) < kDegenerateCross) side = cross(f, Vec3d{1.0, 0.0, 0.0});
    if (length(side) < kDegenerateCross) side = cross(f, Vec3d{0.0, 1.0, 0.0});
    const Vec3d s = normalized(side);
    const Vec3d u = cross(s, f);

    Mat4d m = Mat4d::identity();
    m.at(0, 0) = s.x;
    m.at(0, 1) = s.y;
    m.at(0, 2) = s.z;
    m.at(1, 0) = u.x;
    m.at(1, 1) = u.y;
    m.at(1, 2) = u.z;
    m.at(2, 0) = -f.x;
    m.at(2, 1) = -f.y;
    m.at(2, 2) = -f.z;
    m.at(0, 3) = -dot(s, eye);
    m.at(1, 3) = -dot(u, eye);
    m.at(2, 3) = dot(f, eye);
    return m;
}

Mat4d Camera::projectionMatrix() const {
    const double t = 1.0 / std::tan(fieldOfView / 2.0);
    const double n = nearPlane(), f = farPlane();
    Mat4d m;
    m.at(0, 0) = t / aspect();
    m.at(1, 1) = t;
    m.at(2, 2) = (f + n) / (n - f);
    m.at(3, 2) = -1.0;
    m.at(2, 3) = 2.0 * f * n / (n - f);
    return m;
}

Mat4d Camera::viewProjectionMatrix() const { return projectionMatrix() * viewMatrix(); }

double Camera::clampDistance(double value) const {
    const double lower = std::max(1e-5 * sceneRadius, 1e-4);
    const double upper = 500.0 * sceneRadius;
    if (value > upper) return upper;
    if (value < lower) return lower;
    return value;
}

Vec3d Camera::unproject(double x, double y, double depth) const {
    const CameraBasis b = basis();
    const double k = 2.0 * std::tan(fieldOfView / 2.0) * depth / viewportHeight;
    return eyePosition() + b.forward * depth + b.right * ((x - viewportWidth / 2.0) * k) -
           b.up * ((y - viewportHeight / 2.0) * k);
}

ProjectedPoint Camera::project(const Vec3d& world) const {
    const CameraBasis b = basis();
    const Vec3d d = world - eyePosition();
    ProjectedPoint p;
    p.depth = dot(d, b.forward);
    p.inFront = p.depth > 0.0;
    if (!p.inFront) return p;
    const double k = 2.0 * std::tan(fieldOfView / 2.0) * p.depth / viewportHeight;
    p.x = viewportWidth / 2.0 + dot(d, b.right) / k;
    p.y = viewportHeight / 2.0 - dot(d, b.up) / k;
    return p;
}

void Camera::orbit(double deltaYaw, double deltaPitch) {
    if (!finite(deltaYaw) || !finite(deltaPitch)) return;
    yaw = wrapYaw(yaw + deltaYaw);
    pitch = std::clamp(pitch + deltaPitch, -90.0, 90.0);
}

void Camera::pan(double dx, double dy) {
    if (!finite(dx) || !finite(dy)) return;
    const CameraBasis b = basis();
    const double k = 2.0 * std::tan(fieldOfView / 2.0) * distance / viewportHeight;
    target -= b.right * (dx * k);
    target += b.up * (dy * k);
}

void Camera::zoomWheel(double steps) {
    if (!finite(steps)) return;
    distance = clampDistance(distance * std::pow(kWheelFactor, steps));
}

bool Camera::zoomToRectangle(double x1, double y1, double x2, double y2, double depth) {
    const double width = std::fabs(x2 - x1), height = std::fabs(y2 - y1);
    if (!(width >= kMinZoomRectangle && height >= kMinZoomRectangle)) return false;
    if (!finite(width) || !finite(height)) return false;
    if (!(depth > 0.0) || !finite(depth)) depth = distance;
    target = unproject((x1 + x2) / 2.0, (y1 + y2) / 2.0, depth);
    const double fraction = std::max(width / viewportWidth, height / viewportHeight);
    distance = clampDistance(fraction * depth);
    return true;
}

bool Camera::fitBox(const Vec3d& min, const Vec3d& max) {
    if (!(max.x >= min.x && max.y >= min.y && max.z >= min.z)) return false;
    if (!finite(min) || !finite(max)) return false;
    target = (min + max) * 0.5;
    const Vec3d half = (max - min) * 0.5;
    sceneRadius = std::max(length(half), 1e-6);

    const CameraBasis b = basis();
    const Vec3d back = -b.forward;
    const double tv = std::tan(fieldOfView / 2.0);
    const double th = tv * aspect();
    double farthest = 0.0;
    for (int corner = 0; corner < 8; ++corner) {
        const Vec3d p{(corner & 1) ? half.x : -half.x, (corner & 2) ? half.y : -half.y,
                      (corner & 4) ? half.z : -half.z};
        const double towardEye = dot(p, back);
        farthest = std::max(farthest, std::fabs(dot(p, b.right)) / th + towardEye);
        farthest = std::max(farthest, std::fabs(dot(p, b.up)) / tv + towardEye);
    }
    // The 5 % margin keeps the outermost points off the window's edge.
    distance = clampDistance(std::max(0.001 * sceneRadius, 1.05 * farthest));
    return true;
}

void Camera::setFieldOfView(double degrees) {
    if (std::isnan(degrees)) return;
    const double clamped = std::clamp(degrees, kMinFieldOfViewDegrees, kMaxFieldOfViewDegrees);
    const double old = fieldOfView;
    fieldOfView = clamped * kDegrees;
    const double newTan = std::tan(fieldOfView / 2.0);
    if (newTan > 1e-9) distance = clampDistance(distance * std::tan(old / 2.0) / newTan);
}

bool Camera::lookAlong(const Vec3d& v) {
    if (!finite(v)) return false;
    const double len = length(v);
    if (len <= 1e-12) return false;
    const Vec3d u = v / len;
    const double horizontal = std::sqrt(u.x * u.x + u.y * u.y);
    if (horizontal > 1e-12) yaw = wrapYaw(std::atan2(u.y, u.x) / kDegrees);
    pitch = std::clamp(std::atan2(u.z, horizontal) / kDegrees, -90.0, 90.0);
    return true;
}

void Camera::setStandardView(int which) {
    static constexpr double kAngles[kStandardViewCount][2] = {
        {-90.0, 90.0}, {-90.0, -90.0}, {0.0, 0.0}, {180.0, 0.0}, {90.0, 0.0}, {-90.0, 0.0}};
    if (which < 0 || which >= kStandardViewCount) {
        setDefaultDirection();
        return;
    }
    yaw = kAngles[which][0];
    pitch = kAngles[which][1];
}

void Camera::setDefaultDirection() {
    yaw = kDefaultYaw;
    pitch = kDefaultPitch;
}

}  // namespace ovcf
