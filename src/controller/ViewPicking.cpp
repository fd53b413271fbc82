// The view controller's picking: the point under the cursor for the readout, the colour pick and
// the plane by three points.
#include <cmath>

#include "cloud/PointColors.h"
#include "controller/ClipBoxRegion.h"
#include "controller/ViewController.h"
#include "core/Log.h"
#include "navigation/DepthPick.h"

namespace ovcf {

std::optional<Vec3d> ViewController::depthPick(double x, double y) {
    const std::optional<DepthSample> sample =
        pickDepth(x, y, width_, height_, camera.nearPlane(), camera.farPlane(), lastDepth());
    if (!sample) return std::nullopt;
    // The sample stands for its pixel's centre.
    return camera.unproject(sample->x + 0.5, sample->y + 0.5, sample->distance);
}

std::optional<NearPoint> ViewController::nearestPoint(const Vec3d& world, double radius) {
    if (!hasCloud()) return std::nullopt;
    const PointBitmap& deleted = deletions_.deleted();
    const bool clipped = clipBox.isActive();
    const ClipBoxRegion region(clipBox, camera.renderOrigin);
    // Only what the renderer shows can be picked: not deleted, inside the clip box when it is on.
    return cloud_->nearestPoint(world - camera.renderOrigin, radius, [&](const Vec3d& p, const PointVertex& v) {
        if (v.index < deleted.pointCount() && deleted.test(v.index)) return false;
        return !clipped || region.contains(p);
    });
}

std::uint32_t ViewController::pickColor(double x, double y) {
    const std::optional<Vec3d> position = depthPick(x, y);
    if (!position) return kNoPickedColor;
    const std::optional<NearPoint> point = nearestPoint(*position, kPickRadius);
    if (!point) return kNoPickedColor;
    PointRecord record;
    record.red = point->vertex.r;
    record.green = point->vertex.g;
    record.blue = point->vertex.b;
    record.intensity = point->vertex.intensity;
    record.classification = static_cast<std::uint8_t>(point->vertex.classification);
    const PointColoring coloring =
        pointColoring(settings.render, cloud_->boundsMin().z - camera.renderOrigin.z,
                      cloud_->boundsMax().z - camera.renderOrigin.z, cloud_->header().pointFormat);
    return displayedColor(coloring, record, point->drawnZ, point->level);
}

bool ViewController::addPlanePoint(double x, double y) {
    if (!planePick.tracing()) return false;
    std::optional<Vec3d> position = depthPick(x, y);
    bool fromDepth = true;
    if (position) {
        if (const std::optional<NearPoint> point = nearestPoint(*position, kPickRadius)) {
            position = point->position + camera.renderOrigin;
            fromDepth = false;
        }
    }
    return planePick.addPoint(position, fromDepth, camera);
}

void ViewController::setCursorReadout(bool on) {
    if (readout_.on == on) return;
    readout_.on = on;
    if (!on) {
        readout_.valid = false;
        readout_.point = {};
        overlay_.setReadoutText({});
    }
    logLine(LogInfo, "coordinate sotto il cursore: %s", on ? "accese" : "spente");
}

void ViewController::cursorMoved(double x, double y) {
    readout_.x = x;
    readout_.y = y;
    readout_.inside = true;
}

void ViewController::cursorLeft() {
    readout_.inside = false;
    readout_.valid = false;
    overlay_.setReadoutText({});
}

void ViewController::updateReadout(bool beforeFrame) {
    if (!readout_.on || !readout_.inside) return;
    if (beforeFrame && camera.viewProjection() != frameViewProjection_) return;
    const std::optional<Vec3d> point = depthPick(readout_.x, readout_.y);
    readout_.valid = point.has_value();
    readout_.point = point.value_or(Vec3d{});
    overlay_.setReadoutText(readout_.valid ? readoutText(readout_.point) : std::string());
}

}  // namespace ovcf
