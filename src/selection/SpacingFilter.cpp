#include "selection/SpacingFilter.h"

#include <atomic>
#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "core/ThreadRun.h"

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
    const std::uint64_t hash = cellHash(c[0], c[1], c[2]);
    workers_[worker]->cells.add(hash, SpacingCell::make(c[0], c[1], c[2], static_cast<float>(squared), global));
}

void SpacingFilter::finish(DroppedPoints& drop) {
    const auto start = std::chrono::steady_clock::now();
    std::uint64_t cells = 0;
    for (const auto& w : workers_) {
        w->cells.flushRecent();
        cells += w->cells.size();
    }
    // A few thousand cells are not worth a thread.
    const unsigned threads = cells < 100000 ? 1u : static_cast<unsigned>(workers_.size());
    std::vector<std::size_t> kept(std::max(threads, 1u), 0);
    std::vector<std::unique_ptr<DroppedPoints::ThreadMarks>> marks;
    if (threads > 1 && drop.threadMarksFit(threads))
        for (unsigned t = 0; t < threads; ++t) marks.push_back(std::make_unique<DroppedPoints::ThreadMarks>(drop));
    std::atomic<std::size_t> next{0};
    runOnThreads(threads, [&](unsigned t) {
        SpacingGrid grid;
        std::vector<std::uint64_t> list;
        for (std::size_t p = next.fetch_add(1); p < SpacingCellBuffer::kPartitions; p = next.fetch_add(1)) {
            for (const auto& w : workers_)
                w->cells.drain(p, [&](const SpacingCell* run, std::size_t count) {
                    for (std::size_t i = 0; i < count; ++i) grid.add(cellHash(run[i].x, run[i].y, run[i].z), run[i]);
                });
            kept[t] += grid.size();
            list.clear();
            grid.takeKept(list);
            if (!marks.empty())
                for (std::uint64_t g : list) marks[t]->mark(g);
            else if (threads == 1)
                for (std::uint64_t g : list) drop.markUnshared(g);
            else
                for (std::uint64_t g : list) drop.mark(g);
        }
    });
    for (const auto& own : marks) drop.absorb(*own);
    kept_ = 0;
    for (std::size_t k : kept) kept_ += k;
    workers_.clear();
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
