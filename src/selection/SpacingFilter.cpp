#include "selection/SpacingFilter.h"

#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {

SpacingFilter::SpacingFilter(double spacing, const FileHeader& header) : spacing_(spacing) {
    for (int a = 0; a < 3; ++a) {
        divide_[a] = FloorDivider(cellEdge(spacing, header.step[a], kSpacingEdgeMax));
        half_[a] = divide_[a].divisor() / 2;
    }
}

void SpacingFilter::prepare(unsigned workerCount, const SelectionRegion*) {
    workers_.clear();
    for (unsigned w = 0; w < workerCount; ++w) workers_.push_back(std::make_unique<Worker>());
    kept_ = 0;
}

void SpacingFilter::collect(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d&) {
    const std::int32_t q[3] = {static_cast<std::int32_t>(point.x), static_cast<std::int32_t>(point.y),
                               static_cast<std::int32_t>(point.z)};
    std::int32_t c[3];
    std::int64_t squared = 0;
    for (int a = 0; a < 3; ++a) {
        c[a] = divide_[a](q[a]);
        const std::int64_t d = q[a] - static_cast<std::int64_t>(c[a]) * divide_[a].divisor() - half_[a];
        squared += d * d;
    }
    const Pending pending{cellHash(c[0], c[1], c[2]), SpacingCell::make(c[0], c[1], c[2], static_cast<float>(squared), global)};
    Worker& w = *workers_[worker];
    w.grid.prefetch(pending.hash);
    if (w.filled < kAhead) {
        w.ring[w.filled++] = pending;
        return;
    }
    Pending& oldest = w.ring[w.next];
    w.grid.add(oldest.hash, oldest.cell);
    oldest = pending;
    w.next = (w.next + 1) % kAhead;
}

void SpacingFilter::Worker::drain() {
    for (unsigned i = 0; i < filled; ++i) grid.add(ring[i].hash, ring[i].cell);
    filled = next = 0;
}

void SpacingFilter::finish(std::vector<std::uint64_t>& drop) {
    const auto start = std::chrono::steady_clock::now();
    if (workers_.empty()) return;
    for (auto& w : workers_) w->drain();
    SpacingGrid& merged = workers_[0]->grid;
    for (std::size_t w = 1; w < workers_.size(); ++w) {
        merged.mergeFrom(workers_[w]->grid);
        workers_[w]->grid = SpacingGrid();
    }
    kept_ = merged.size();
    merged.appendKept(drop);
    workers_[0]->grid = SpacingGrid();
    solveSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void SpacingFilter::fillReport(SelectionReport& report) const {
    report.countedInGrid = report.inShape;
    report.filterKept = kept_;
    report.filterCells = kept_;
    report.solveSeconds = solveSeconds_;
}

void SpacingFilter::log(const SelectionReport& report) const {
    const double share = report.inShape ? static_cast<double>(report.found) * 100.0 / static_cast<double>(report.inShape) : 0.0;
    logLine(LogInfo, "  diradamento a %.3f m: %s punti nella sagoma, %s tenuti, %s selezionati da eliminare (%.1f%%), %s celle",
            spacing_, formatCount(report.inShape).c_str(), formatCount(report.filterKept).c_str(),
            formatCount(report.found).c_str(), share, formatCount(report.filterCells).c_str());
}

}  // namespace ovcf
