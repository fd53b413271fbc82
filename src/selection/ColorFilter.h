// The colour filter: keeps the points in the shape whose colour, as the current colour mode
// draws it, lies within a CIE76 tolerance of a target colour. Decides per point in the workers;
// the settings are fixed when it is made and read by all workers, each with its own small cache.
#pragma once

#include <cstdint>
#include <vector>

#include "cloud/PointColors.h"
#include "selection/CieLab.h"
#include "selection/SelectionFilter.h"

namespace ovcf {

class ColorFilter : public SelectionFilter {
public:
    // `target` is 0xRRGGBB; a negative tolerance counts as 0.
    ColorFilter(const PointColoring& coloring, std::uint32_t target, double tolerance, bool ignoreLightness);

    // Whether a displayed colour (0xRRGGBB) is close enough to the target.
    bool matches(std::uint32_t displayed) const;
    // The colour mode gives every point the same compared colour: all pass or none does.
    bool allOrNothing() const { return allOrNothing_; }

    void prepare(unsigned workerCount, const SelectionRegion* region) override;
    void enterNode(unsigned worker, std::uint32_t node, std::uint32_t level) override;
    unsigned pointCalls() const override { return CallsAccept; }
    bool accept(unsigned worker, const PointRecord& point, const Vec3d& local) override;
    const char* passName() const override { return "colore"; }
    void log(const SelectionReport& report) const override;

private:
    // Direct-mapped memory of recent verdicts: neighbouring points mostly share few colours, and
    // a verdict costs three cube roots.
    struct alignas(64) Worker {
        std::uint32_t level = 0;
        std::vector<std::uint32_t> verdicts;  // kKnown | kPass | colour, or 0
    };

    PointColoring coloring_;
    std::uint32_t target_;
    Lab targetLab_;
    double tolerance_;
    bool ignoreLightness_;
    bool allOrNothing_;
    std::vector<Worker> workers_;
};

}  // namespace ovcf
