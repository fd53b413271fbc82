// The view's orbiting camera, in double precision and world coordinates (metres, Z up).
// A target, a distance from it and two angles in degrees (yaw about Z, pitch above the
// horizontal) describe it; eye, matrices and frustum are derived on demand. Render space is
// world minus renderOrigin, so that the single-precision matrices stay exact near the cloud.
#pragma once

#include <array>

#include "core/Frustum.h"
#include "core/Matrix4.h"
#include "core/Vec3.h"

namespace ovcf {

// The viewing directions of the camera: forward (eye to target), right, and the screen's up.
struct CameraBasis {
    Vec3d forward;
    Vec3d right;
    Vec3d up;
};

// A world point seen from the camera: window pixels (origin top-left, y down) and its depth in
// metres along the viewing axis; only meaningful when inFront.
struct ProjectedPoint {
    double x = 0.0;
    double y = 0.0;
    double depth = 0.0;
    bool inFront = false;
};

class Camera {
public:
    static constexpr double kDefaultYaw = -50.0;
    static constexpr double kDefaultPitch = 30.0;
    static constexpr double kMinFieldOfViewDegrees = 5.0;
    static constexpr double kMaxFieldOfViewDegrees = 120.0;
    static constexpr double kWheelFactor = 0.85;
    // Rectangles narrower or lower than this (pixels) are not a zoom request.
    static constexpr double kMinZoomRectangle = 4.0;
    // Number of the standard views 0..5; any other number is the default three-quarter view.
    static constexpr int kStandardViewCount = 6;

    int viewportWidth = 1;
    int viewportHeight = 1;
    double fieldOfView = 0.78539816339744830962;  // radians, vertical; 45 degrees
    Vec3d target;
    Vec3d renderOrigin;
    double distance = 10.0;
    double yaw = kDefaultYaw;
    double pitch = kDefaultPitch;
    double sceneRadius = 1.0;

    void setViewport(int width, int height);
    double aspect() const { return static_cast<double>(viewportWidth) / viewportHeight; }

    // World minus the render origin: where a world point sits for the GPU and for culling.
    Vec3d toRenderSpace(const Vec3d& world) const { return world - renderOrigin; }

    Vec3d eyePosition() const;
    Vec3d upVector() const;
    // forward = unit(target - eye), right = unit(forward × upVector()) (or +X when degenerate),
    // up = right × forward.
    CameraBasis basis() const;

    double nearPlane() const;
    double farPlane() const;
    double fieldOfViewDegrees() const;
    double pixelsPerMetreAtUnitDistance() const;

    // Render-space matrices (world minus renderOrigin), column-major.
    Mat4d viewMatrix() const;
    Mat4d projectionMatrix() const;
    Mat4d viewProjectionMatrix() const;
    std::array<float, 16> viewProjection() const { return viewProjectionMatrix().toFloat(); }

    // [max(1e-5 × sceneRadius, 1e-4), 500 × sceneRadius]; the upper bound wins.
    double clampDistance(double value) const;

    Vec3d unproject(double x, double y, double depth) const;
    ProjectedPoint project(const Vec3d& world) const;

    void orbit(double deltaYaw, double deltaPitch);
    void pan(double dx, double dy);
    void zoomWheel(double steps);
    // Returns false when the rectangle is too small to act on.
    bool zoomToRectangle(double x1, double y1, double x2, double y2, double depth);
    // Returns false (and changes nothing) unless max >= min on every axis.
    bool fitBox(const Vec3d& min, const Vec3d& max);
    void setFieldOfView(double degrees);
    // v points from the target towards the eye; false for a zero vector.
    bool lookAlong(const Vec3d& v);
    // Standard views 0 top, 1 bottom, 2 +X, 3 -X, 4 +Y, 5 -Y; anything else the default
    // three-quarter view. Only the angles change.
    void setStandardView(int which);
    void setDefaultDirection();
};

}  // namespace ovcf
