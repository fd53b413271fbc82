// The cloth filter ("sporgenze"): among the points in the shape, selects those that stick out
// above a stiff cloth dropped onto the lowest points, vertically or along the view. The workers
// gather each cell's lowest point; after the join the cloth is solved; the nodes still holding
// selected points are read again and each point is kept when it lies higher than the cloth by
// more than the offset.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Vec3.h"
#include "selection/ClothSimulation.h"
#include "selection/LowestCellGrid.h"
#include "selection/SelectionFilter.h"

namespace ovcf {

struct ClothParameters {
    bool alongView = false;  // else vertical
    double resolution = 1.0;  // metres; below 0.0001 counts as 0.0001
    double tension = 0.5;     // clamped to 0..1
    double offset = 0.2;      // metres; negative counts as 0
};

// The drop frame: w points down (the drop direction), u and v span the cloth.
struct ClothFrame {
    Vec3d u{1, 0, 0}, v{0, 1, 0}, w{0, 0, -1};
};

// Vertical, or along `viewDirection` (from the eye towards the target; a direction of no length
// gives the vertical drop).
ClothFrame clothFrame(bool alongView, const Vec3d& viewDirection);

class ClothFilter : public SelectionFilter {
public:
    ClothFilter(const ClothParameters& parameters, const Vec3d& viewDirection);

    const ClothFrame& frame() const { return frame_; }
    const ClothSimulation& cloth() const { return cloth_; }
    std::uint64_t baseCount() const;  // points deselected by the last run's second pass

    void prepare(unsigned workerCount, const SelectionRegion* region) override;
    unsigned pointCalls() const override { return CallsCollect; }
    void collect(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) override;
    void finish(DroppedPoints& drop) override;
    bool needsSecondPass() const override { return true; }
    bool keep(unsigned worker, const PointRecord& point, std::uint64_t global, const Vec3d& local) override;
    const char* passName() const override { return "sporgenze"; }
    void log(const SelectionReport& report) const override;

private:
    struct alignas(64) Worker {
        LowestCellGrid cells;
        std::uint64_t base = 0;
    };

    ClothParameters parameters_;
    ClothFrame frame_;
    std::vector<Worker> workers_;
    ClothSimulation cloth_;
    double solveSeconds_ = 0.0;
};

}  // namespace ovcf
