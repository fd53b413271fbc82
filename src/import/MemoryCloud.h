// The host's cloud as a point source: a read-only view over its coordinate triples and optional
// packed colours (0x00RRGGBB), quantised on the fly with one step for all axes. The host's arrays
// must outlive the object; they are never written.
#pragma once

#include <cstdint>
#include <string>

#include "import/PointSource.h"

namespace ovcf {

constexpr double kDefaultQuantizationStep = 0.0001;  // metres
constexpr std::uint8_t kGreyWithoutColour = 200;     // colour-less clouds still render

class MemoryCloud final : public PointSource {
public:
    // A step that is not above 0 becomes kDefaultQuantizationStep. A null coordinate pointer is
    // an empty cloud. The cloud's bounds are measured at once, on `threads` threads (0: every
    // core).
    MemoryCloud(const double* xyz, const std::uint32_t* colours, std::uint64_t count, double step,
                unsigned threads = 1);

    std::uint64_t pointCount() const override { return count_; }
    std::array<double, 3> step() const override { return step_; }
    std::array<double, 3> offset() const override { return offset_; }
    bool hasColour() const override { return colours_ != nullptr; }
    Bounds3 bounds() const override { return bounds_; }
    bool read(PointRecord* points, std::size_t capacity, std::size_t& count, std::string& error) override;
    std::string description() const override;
    // Exact: the coordinates' extremes quantise to the extremes of the quantised points, since
    // quantising never reverses the order of two coordinates.
    bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const override;

    // Whether every quantised coordinate fits in 31 bits; false with the reason otherwise. An
    // empty cloud passes.
    bool checkRange(std::string& error) const;

    // Quantises point `index` as read() does.
    PointRecord quantize(std::uint64_t index) const;

private:
    const double* xyz_;
    const std::uint32_t* colours_;
    std::uint64_t count_;
    std::uint64_t cursor_ = 0;
    std::array<double, 3> step_{};
    std::array<double, 3> offset_{};
    Bounds3 bounds_;
    bool allFinite_ = true;
};

}  // namespace ovcf
