#include "navigation/PlanePick.h"

#include <algorithm>
#include <cmath>

#include "core/Log.h"

namespace ovcf {
namespace {

constexpr double kDegreesPerRadian = 180.0 / 3.14159265358979323846;
constexpr double kTiny = 1e-12;

}  // namespace

std::optional<PlaneResult> fitPlane(const Vec3d& p1, const Vec3d& p2, const Vec3d& p3, const Vec3d& eye,
                                    double currentYaw, double& ratio) {
    ratio = 0.0;
    PlaneResult r;
    r.centroid = (p1 + p2 + p3) / 3.0;
    const Vec3d n = cross(p2 - p1, p3 - p1);
    r.longestSide = std::max({length(p2 - p1), length(p3 - p2), length(p1 - p3)});
    if (!(r.longestSide > 0.0)) return std::nullopt;
    ratio = length(n) / (r.longestSide * r.longestSide);
    if (!(ratio >= kMinPlaneHeightRatio)) return std::nullopt;
    r.heightRatio = ratio;

    Vec3d u = n / length(n);
    const double s = dot(u, eye - r.centroid);
    const double side = std::fabs(s) > kTiny ? s : u.z;
    if (side < 0.0) u = -u;
    r.normal = u;
    r.inclination = std::acos(std::min(std::fabs(u.z), 1.0)) * kDegreesPerRadian;

    const Vec3d up = u.z < 0.0 ? -u : u;
    if (std::fabs(up.x) > kTiny || std::fabs(up.y) > kTiny) {
        r.azimuth = std::atan2(up.x, up.y) * kDegreesPerRadian + 0.0;  // no "-0.0" in the log
        if (r.azimuth < 0.0) r.azimuth += 360.0;
    }
    const double h = std::hypot(u.x, u.y);
    r.yaw = h > kTiny ? std::atan2(u.y, u.x) * kDegreesPerRadian : currentYaw;
    r.pitch = std::atan2(u.z, h) * kDegreesPerRadian;
    r.valid = true;
    return r;
}

void PlanePick::start() {
    tracing_ = true;
    points_.clear();
    result_ = {};
    logLine(LogInfo, "vista su piano per 3 punti: armata, cliccare il primo punto");
}

bool PlanePick::removeLastPoint() {
    if (points_.empty()) return false;
    points_.pop_back();
    tracing_ = true;
    result_ = {};
    logLine(LogInfo, "vista su piano: tolto un punto, ne restano fissati %u", static_cast<unsigned>(points_.size()));
    return true;
}

bool PlanePick::cancel() {
    if (tracing_ || !points_.empty()) {
        reset();
        logLine(LogInfo, "vista su piano: tracciamento annullato, la vista resta dov'e'");
        return true;
    }
    if (result_.valid) {
        reset();
        logLine(LogInfo, "vista su piano: risultato dimenticato, la vista resta dov'e'");
        return true;
    }
    return false;
}

bool PlanePick::reset() {
    const bool hadAnything = tracing_ || !points_.empty() || result_.valid;
    tracing_ = false;
    points_.clear();
    result_ = {};
    return hadAnything;
}

int PlanePick::reportedState() const {
    if (result_.valid) return 3;
    if (tracing_ || !points_.empty()) return static_cast<int>(points_.size());
    return -1;
}

bool PlanePick::addPoint(const std::optional<Vec3d>& position, bool fromDepth, Camera& camera) {
    if (!tracing_) return false;
    if (!position) {
        logLine(LogWarn, "vista su piano: sotto il cursore non c'e' nuvola, punto non preso");
        return false;
    }
    const char* suffix =
        fromDepth ? "  [posizione dal buffer di profondita': il punto vero non si e' ritrovato entro mezzo metro]" : "";
    const Vec3d& p = *position;
    if (points_.size() < 2) {
        points_.push_back(p);
        logLine(LogInfo, "vista su piano: punto %u fissato in (%.3f, %.3f, %.3f)%s", static_cast<unsigned>(points_.size()),
                p.x, p.y, p.z, suffix);
        return true;
    }
    double ratio = 0.0;
    const std::optional<PlaneResult> fit = fitPlane(points_[0], points_[1], p, camera.eyePosition(), camera.yaw, ratio);
    if (!fit) {
        logLine(LogWarn,
                "vista su piano: i tre punti sono quasi allineati (altezza %.1f%% del lato piu' lungo, ne serve almeno %.0f%%): il piano ruoterebbe di decine di gradi per pochi centimetri",
                100.0 * ratio, 100.0 * kMinPlaneHeightRatio);
        return false;
    }
    points_.clear();
    tracing_ = false;
    result_ = *fit;
    camera.target = fit->centroid;
    camera.lookAlong(fit->normal);
    const Vec3d view = camera.eyePosition() - camera.target;
    const double off = std::acos(std::clamp(dot(normalized(view), fit->normal), -1.0, 1.0)) * kDegreesPerRadian;
    logLine(LogInfo,
            "vista su piano per 3 punti: inclinazione %.3f gradi sull'orizzontale, massima pendenza verso %.1f gradi di azimut, normale (%.6f, %.6f, %.6f)",
            fit->inclination, fit->azimuth, fit->normal.x, fit->normal.y, fit->normal.z);
    logLine(LogInfo,
            "  camera: imbardata %.4f gradi, beccheggio %.4f gradi (scarto dalla perpendicolare al piano %.1e gradi); punto di interesse (%.3f, %.3f, %.3f), distanza invariata %.2f m; triangolo di lato massimo %.2f m, magrezza %.3f",
            camera.yaw, camera.pitch, off, camera.target.x, camera.target.y, camera.target.z, camera.distance,
            fit->longestSide, fit->heightRatio);
    return true;
}

}  // namespace ovcf
