// Selects the points in the shape that have too few neighbours within a radius (cells of the
// radius, the 3 x 3 x 3 block around a point's cell), and with a group limit also the points of
// small detached groups of cells. Neighbours are counted from every point read, inside the shape
// or not; the verdict is applied in a second reading of the nodes that hold selected points.
#pragma once

#include <memory>
#include <vector>

#include "ovcf/FileFormat.h"
#include "selection/NeighbourGrid.h"
#include "selection/SelectionFilter.h"

namespace ovcf {

class IsolatedFilter final : public SelectionFilter {
public:
    // Coarsening stops at this level or once the grid is small enough.
    static constexpr int kMaxLevel = 16;
    static constexpr std::size_t kMaxCells = 4000000;

    // `radius` in metres; fewer than `minNeighbours` other points around a point isolate it; a
    // group limit of 2 or more also isolates groups of at most that many points.
    IsolatedFilter(double radius, std::int64_t minNeighbours, std::int64_t groupLimit, const FileHeader& header);

    // Threads of the neighbourhood count; the machine's hardware threads (1..16) by default.
    void setCountingThreads(unsigned threads) { countingThreads_ = threads; }

    double nodeMargin() const override { return margin_; }
    void prepare(unsigned workerCount, const SelectionRegion* region) override;
    unsigned pointCalls() const override { return CallsObserve; }
    void observe(unsigned worker, const PointRecord& point, const Vec3d& local) override;
    void finish(DroppedPoints& drop) override;
    bool needsSecondPass() const override { return true; }
    bool keep(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) override;
    const char* passName() const override { return "isolati"; }
    void fillReport(SelectionReport& report) const override;
    void log(const SelectionReport& report) const override;

    double effectiveRadius() const { return effectiveRadius_; }
    int level() const { return level_; }
    bool solved() const { return solved_; }
    std::uint64_t groups() const { return groups_; }
    const NeighbourGrid& grid() const;

private:
    static constexpr std::size_t kCache = 4096;  // per worker, direct-mapped
    struct Pending {
        std::int32_t x, y, z;
        std::uint32_t count;  // 0: free
    };
    struct Verdict {
        std::int32_t x, y, z;
        std::uint8_t state;  // 0 unknown, 1 isolated, 2 enough neighbours
    };
    struct alignas(64) Worker {
        NeighbourGrid grid;
        std::uint64_t counted = 0;
        std::uint64_t enough = 0;
        Pending pending[kCache] = {};
        Verdict verdicts[kCache] = {};
    };

    static std::size_t cacheSlot(std::int32_t x, std::int32_t y, std::int32_t z) {
        const std::uint32_t h = static_cast<std::uint32_t>(x) * 0x9E3779B1u ^ static_cast<std::uint32_t>(y) * 0x85EBCA77u ^
                                static_cast<std::uint32_t>(z) * 0xC2B2AE3Du;
        return (h ^ (h >> 15)) & (kCache - 1);
    }
    bool isolated(std::int32_t x, std::int32_t y, std::int32_t z) const;

    double askedRadius_;
    double margin_;
    double step_[3];
    std::int64_t edge_[3];  // current cell edges, coarsening included
    FloorDivider divide_[3];  // the edges before coarsening
    std::int64_t minNeighbours_;
    std::int64_t groupLimit_;
    unsigned countingThreads_;
    const SelectionRegion* region_ = nullptr;
    std::vector<std::unique_ptr<Worker>> workers_;

    double effectiveRadius_ = 0.0;
    int level_ = 0;
    std::uint64_t counted_ = 0;
    std::uint64_t groups_ = 0;
    bool solved_ = false;
    double solveSeconds_ = 0.0;
};

}  // namespace ovcf
