// Thins the points in the shape to one per cubic cell: the point nearest each cell's centre is
// kept (left unselected), every other point stays selected, to be deleted.
#pragma once

#include <memory>
#include <vector>

#include "ovcf/FileFormat.h"
#include "selection/SelectionFilter.h"
#include "selection/SpacingCellBuffer.h"

namespace ovcf {

class SpacingFilter final : public SelectionFilter {
public:
    // `spacing` in metres, above 0 (the factory makes no filter otherwise).
    SpacingFilter(double spacing, const FileHeader& header);

    void prepare(unsigned workerCount, const SelectionRegion* region) override;
    unsigned pointCalls() const override { return CallsCollect; }
    void collect(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) override;
    void finish(DroppedPoints& drop) override;
    void fillReport(SelectionReport& report) const override;
    void log(const SelectionReport& report) const override;

    // Cell edges in quantised units, per axis.
    std::int64_t edge(int axis) const { return divide_[axis].divisor(); }

private:
    struct alignas(64) Worker {
        SpacingCellBuffer cells;
    };
    double spacing_;
    FloorDivider divide_[3];
    std::int64_t half_[3];
    std::vector<std::unique_ptr<Worker>> workers_;
    std::size_t kept_ = 0;
    double solveSeconds_ = 0.0;
};

}  // namespace ovcf
