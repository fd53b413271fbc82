// Thins the points in the shape to one per cubic cell: the point nearest each cell's centre is
// kept (left unselected), every other point stays selected, to be deleted.
#pragma once

#include <memory>
#include <vector>

#include "ovcf/FileFormat.h"
#include "selection/SelectionFilter.h"
#include "selection/SpacingGrid.h"

namespace ovcf {

class SpacingFilter final : public SelectionFilter {
public:
    // `spacing` in metres, above 0 (the factory makes no filter otherwise).
    SpacingFilter(double spacing, const FileHeader& header);

    void prepare(unsigned workerCount, const SelectionRegion* region) override;
    void collect(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) override;
    void finish(std::vector<std::uint64_t>& drop) override;
    void fillReport(SelectionReport& report) const override;
    void log(const SelectionReport& report) const override;

    // Cell edges in quantised units, per axis.
    std::int64_t edge(int axis) const { return divide_[axis].divisor(); }

private:
    // Probes wait a few points in a ring, their slot prefetched, so that the misses of the large
    // table overlap.
    static constexpr unsigned kAhead = 16;
    struct Pending {
        std::uint64_t hash;
        SpacingCell cell;
    };
    struct alignas(64) Worker {
        SpacingGrid grid;
        Pending ring[kAhead];
        unsigned filled = 0, next = 0;
        void drain();
    };

    double spacing_;
    FloorDivider divide_[3];
    std::int64_t half_[3];
    std::vector<std::unique_ptr<Worker>> workers_;
    std::size_t kept_ = 0;
    double solveSeconds_ = 0.0;
};

}  // namespace ovcf
