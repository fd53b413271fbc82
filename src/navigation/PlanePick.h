// The plane view by three points: three clicked points of the cloud give a plane, and the camera
// turns to look perpendicularly onto it with the triangle's centroid as its target. The pick keeps
// its own state beside the tools; the common cancel resets it.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "navigation/Camera.h"

namespace ovcf {

struct PlaneResult {
    bool valid = false;
    Vec3d normal;               // unit, turned towards the camera
    Vec3d centroid;             // of the three points
    double heightRatio = 0.0;   // the triangle's height over its longest side
    double inclination = 0.0;   // degrees from the horizontal
    double azimuth = 0.0;       // degrees of the steepest slope, from +Y towards +X
    double yaw = 0.0;           // camera angles that look along the normal
    double pitch = 0.0;
    double longestSide = 0.0;   // metres
};

// Thinner triangles tilt the plane by tens of degrees for a few centimetres of picking error.
constexpr double kMinPlaneHeightRatio = 0.02;

// The plane through p1, p2, p3 seen from `eye`; `currentYaw` stays the yaw when the normal is
// vertical. Rejected (nullopt) when the longest side is not positive or the height ratio is below
// 2 %; `ratio` receives the height ratio either way.
std::optional<PlaneResult> fitPlane(const Vec3d& p1, const Vec3d& p2, const Vec3d& p3, const Vec3d& eye,
                                    double currentYaw, double& ratio);

class PlanePick {
public:
    // Starts collecting from no point; logs. The caller sends the state-changed event.
    void start();
    // With a fixed point, drops the last one and collects again (logs); false without one.
    bool removeLastPoint();
    // Resets a pick that holds anything, logging which kind it was; false when idle.
    bool cancel();
    // The common cancel: resets silently; true when it held anything.
    bool reset();

    // A left click while collecting: `position` is the point under the cursor (none over the
    // background), `fromDepth` when it came from the depth buffer rather than a real point. The
    // third point fits the plane and turns the camera. True when the state changed.
    bool addPoint(const std::optional<Vec3d>& position, bool fromDepth, Camera& camera);

    bool tracing() const { return tracing_; }
    std::size_t pointCount() const { return points_.size(); }
    // 3 with a result, else the fixed points while collecting or holding points, else -1.
    int reportedState() const;
    const PlaneResult& result() const { return result_; }

private:
    bool tracing_ = false;
    std::vector<Vec3d> points_;  // at most two fixed points
    PlaneResult result_;
};

}  // namespace ovcf
