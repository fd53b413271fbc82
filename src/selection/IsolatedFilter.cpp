#include "selection/IsolatedFilter.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <thread>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {
namespace {

constexpr std::int64_t kEdgeNoLongerDoubled = 536870501;

}  // namespace

IsolatedFilter::IsolatedFilter(double radius, std::int64_t minNeighbours, std::int64_t groupLimit, const FileHeader& header)
    : askedRadius_(radius),
      margin_(std::max(0.0, radius)),
      minNeighbours_(std::max<std::int64_t>(0, minNeighbours)),
      groupLimit_(std::max<std::int64_t>(1, groupLimit)),
      countingThreads_(std::clamp(std::thread::hardware_concurrency(), 1u, 16u)) {
    const double length = radius > 0.0 ? radius : 1.0;
    for (int a = 0; a < 3; ++a) {
        step_[a] = header.step[a] > 0.0 ? header.step[a] : 1.0;
        edge_[a] = cellEdge(length, step_[a], kIsolatedEdgeMax);
        divide_[a] = FloorDivider(edge_[a]);
    }
}

const NeighbourGrid& IsolatedFilter::grid() const {
    static const NeighbourGrid empty;
    return workers_.empty() ? empty : workers_[0]->grid;
}

void IsolatedFilter::prepare(unsigned workerCount, const SelectionRegion* region) {
    region_ = region;
    workers_.clear();
    for (unsigned w = 0; w < workerCount; ++w) workers_.push_back(std::make_unique<Worker>());
    for (int a = 0; a < 3; ++a) edge_[a] = divide_[a].divisor();
    effectiveRadius_ = 0.0;
    level_ = 0;
    counted_ = groups_ = 0;
    solved_ = false;
}

void IsolatedFilter::observe(unsigned worker, const PointRecord& point, const Vec3d& local) {
    if (region_ && !region_->containsWithin(local, margin_)) return;
    const std::int32_t x = divide_[0](static_cast<std::int32_t>(point.x));
    const std::int32_t y = divide_[1](static_cast<std::int32_t>(point.y));
    const std::int32_t z = divide_[2](static_cast<std::int32_t>(point.z));
    Worker& w = *workers_[worker];
    ++w.counted;
    // Points of one cell mostly come together: they are summed here before they reach the table.
    Pending& p = w.pending[cacheSlot(x, y, z)];
    if (p.count != 0 && p.count != UINT32_MAX && p.x == x && p.y == y && p.z == z) {
        ++p.count;
        return;
    }
    if (p.count != 0) w.grid.add(p.x, p.y, p.z, p.count);
    p = Pending{x, y, z, 1};
}

void IsolatedFilter::finish(DroppedPoints&) {
    const auto start = std::chrono::steady_clock::now();
    if (workers_.empty()) return;
    for (auto& w : workers_) {
        for (Pending& p : w->pending)
            if (p.count != 0) {
                w->grid.add(p.x, p.y, p.z, p.count);
                p.count = 0;
            }
        counted_ += w->counted;
    }
    NeighbourGrid& grid = workers_[0]->grid;
    for (std::size_t w = 1; w < workers_.size(); ++w) {
        grid.mergeFrom(workers_[w]->grid);
        workers_[w]->grid = NeighbourGrid();
    }
    while (level_ < kMaxLevel && !(grid.size() <= kMaxCells && (counted_ < 1000 || grid.size() * 2 <= counted_))) {
        for (std::int64_t& edge : edge_)
            if (edge < kEdgeNoLongerDoubled) edge *= 2;
        grid.halve();
        ++level_;
    }
    for (int a = 0; a < 3; ++a) effectiveRadius_ = std::max(effectiveRadius_, static_cast<double>(edge_[a]) * step_[a]);
    if (grid.size() != 0 && counted_ != 0) {
        grid.countNeighbourhoods(countingThreads_);
        if (groupLimit_ >= 2) groups_ = grid.formGroups();
        solved_ = true;
    }
    solveSeconds_ = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

bool IsolatedFilter::isolated(std::int32_t x, std::int32_t y, std::int32_t z) const {
    const NeighbourCell* cell = workers_[0]->grid.find(x, y, z);
    if (!cell) return true;
    const std::int64_t others = cell->neighbours == 0 ? 0 : std::int64_t{cell->neighbours} - 1;
    if (others < minNeighbours_) return true;
    return groupLimit_ >= 2 && cell->group != 0 && cell->group <= groupLimit_;
}

bool IsolatedFilter::keep(unsigned worker, const PointRecord& point, std::uint64_t, const Vec3d&) {
    if (!solved_) return false;
    const std::int32_t x = divide_[0](static_cast<std::int32_t>(point.x)) >> level_;
    const std::int32_t y = divide_[1](static_cast<std::int32_t>(point.y)) >> level_;
    const std::int32_t z = divide_[2](static_cast<std::int32_t>(point.z)) >> level_;
    Worker& w = *workers_[worker];
    Verdict& v = w.verdicts[cacheSlot(x, y, z)];
    if (v.state == 0 || v.x != x || v.y != y || v.z != z) v = Verdict{x, y, z, static_cast<std::uint8_t>(isolated(x, y, z) ? 1 : 2)};
    if (v.state == 1) return true;
    ++w.enough;
    return false;
}

void IsolatedFilter::fillReport(SelectionReport& report) const {
    report.countedInGrid = counted_;
    report.filterKept = 0;
    for (const auto& w : workers_) report.filterKept += w->enough;
    report.filterCells = grid().size();
    report.solveSeconds = solveSeconds_;
}

void IsolatedFilter::log(const SelectionReport& report) const {
    const double share = report.inShape ? static_cast<double>(report.found) * 100.0 / static_cast<double>(report.inShape) : 0.0;
    const int least = static_cast<int>(std::min<std::int64_t>(minNeighbours_, INT_MAX));
    logLine(LogInfo,
            "  isolati, raggio %.3f m (chiesti %.3f), meno di %d vicini%s: %s punti nella sagoma, %s con vicini a sufficienza, %s selezionati da eliminare (%.1f%%)",
            effectiveRadius_, askedRadius_, least, groupLimit_ >= 2 ? ", gruppi compresi" : "",
            formatCount(report.inShape).c_str(), formatCount(report.filterKept).c_str(), formatCount(report.found).c_str(),
            share);
    logLine(LogInfo,
            "  isolati: %s punti contati (anche fuori dalla sagoma), %s celle, %s gruppi; primo giro %.0f ms, conteggio degli intorni %.0f ms, secondo giro %.0f ms su %u nodi riletti",
            formatCount(report.countedInGrid).c_str(), formatCount(report.filterCells).c_str(), formatCount(groups_).c_str(),
            report.firstPassSeconds * 1000.0, report.solveSeconds * 1000.0, report.secondPassSeconds * 1000.0,
            report.nodesReread);
}

}  // namespace ovcf
