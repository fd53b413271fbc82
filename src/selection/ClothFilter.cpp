#include "selection/ClothFilter.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {
namespace {

constexpr double kDegenerate = 1e-12;

// The unit vector along v, or `fallback` when v has (next to) no length.
Vec3d unitOr(const Vec3d& v, const Vec3d& fallback) {
    const double len = length(v);
    return len > kDegenerate ? v / len : fallback;
}

// floor(position / resolution) as a signed 32-bit cell number. Positions are relative to the
// local origin, so only an absurd resolution reaches the limits, and it is held there. Rounding
// by truncation and a correction: the baseline x86-64 instruction set has no floor, and the
// library call costs more than the rest of the point's work.
std::int32_t cellOf(double position, double resolution) {
    double q = position / resolution;
    q = q == q ? std::clamp(q, double(std::numeric_limits<std::int32_t>::min()), double(std::numeric_limits<std::int32_t>::max()))
               : 0.0;
    const auto cell = static_cast<std::int64_t>(q);
    return static_cast<std::int32_t>(static_cast<double>(cell) > q ? cell - 1 : cell);
}

}  // namespace

ClothFrame clothFrame(bool alongView, const Vec3d& viewDirection) {
    ClothFrame frame;
    if (!alongView || length(viewDirection) <= kDegenerate) return frame;
    frame.w = viewDirection / length(viewDirection);
    const Vec3d a = std::fabs(frame.w.z) > 0.99 ? Vec3d{0, 1, 0} : Vec3d{0, 0, 1};
    frame.u = unitOr(cross(a, frame.w), {1, 0, 0});
    frame.v = unitOr(cross(frame.w, frame.u), {0, 1, 0});
    return frame;
}

ClothFilter::ClothFilter(const ClothParameters& parameters, const Vec3d& viewDirection) : parameters_(parameters) {
    parameters_.resolution = std::max(parameters_.resolution, 0.0001);
    parameters_.tension = std::clamp(parameters_.tension, 0.0, 1.0);
    parameters_.offset = std::max(parameters_.offset, 0.0);
    frame_ = clothFrame(parameters_.alongView, viewDirection);
}

std::uint64_t ClothFilter::baseCount() const {
    std::uint64_t base = 0;
    for (const Worker& worker : workers_) base += worker.base;
    return base;
}

void ClothFilter::prepare(unsigned workerCount, const SelectionRegion*) {
    workers_ = std::vector<Worker>(std::max(1u, workerCount));
    cloth_ = ClothSimulation{};
    solveSeconds_ = 0.0;
}

void ClothFilter::collect(unsigned worker, const PointRecord&, std::uint64_t, const Vec3d& local) {
    const double resolution = parameters_.resolution;
    workers_[worker].cells.add(cellOf(dot(local, frame_.u), resolution), cellOf(dot(local, frame_.v), resolution),
                               dot(local, frame_.w));
}

void ClothFilter::finish(DroppedPoints&) {
    const auto start = std::chrono::steady_clock::now();
    LowestCellGrid& merged = workers_.front().cells;
    for (std::size_t w = 1; w < workers_.size(); ++w) {
        merged.mergeFrom(workers_[w].cells);
        workers_[w].cells = LowestCellGrid{};
    }
    cloth_.solve(merged, parameters_.resolution, parameters_.tension);
    merged = LowestCellGrid{};
    solveSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool ClothFilter::keep(unsigned worker, const PointRecord&, std::uint64_t, const Vec3d& local) {
    // Depths grow downwards: the point stands out when the cloth lies deeper by more than the offset.
    const bool out = cloth_.solved() &&
                     cloth_.depthAt(dot(local, frame_.u), dot(local, frame_.v)) - dot(local, frame_.w) > parameters_.offset;
    if (!out) ++workers_[worker].base;
    return out;
}

void ClothFilter::log(const SelectionReport& report) const {
    const std::uint64_t base = baseCount();
    const std::uint64_t selected = report.inShape - std::min(base, report.inShape);
    const double percent = report.inShape ? static_cast<double>(selected) * 100.0 / static_cast<double>(report.inShape) : 0.0;
    const double effective = cloth_.solved() ? cloth_.effectiveResolution() : parameters_.resolution;
    logLine(LogInfo,
            "  sporgenze, telo %s a %.2f m (chiesti %.2f), tensione %.2f, scostamento %.2f m: %s punti nella sagoma, %s di base, %s selezionati (%.1f%%)",
            parameters_.alongView ? "come la vista" : "verticale", effective, parameters_.resolution,
            parameters_.tension, parameters_.offset, formatCount(report.inShape).c_str(), formatCount(base).c_str(),
            formatCount(selected).c_str(), percent);
    const double secondPass = std::max(0.0, report.secondPassSeconds - solveSeconds_);
    logLine(LogInfo, "  telo: %s celle, %d passi di caduta; primo giro %.0f ms, secondo giro %.0f ms su %u nodi riletti",
            formatCount(cloth_.cellCount()).c_str(), cloth_.fallSteps(), report.firstPassSeconds * 1000.0,
            secondPass * 1000.0, report.nodesReread);
}

}  // namespace ovcf
