// The one quantisation rule of the module, shared by every source and by the signature of a host
// cloud, so that a cloud quantised twice gives the same integers: q = (coordinate - offset) / step
// rounded half away from zero, kept as an unsigned 32-bit value.
#pragma once

#include <array>
#include <cmath>
#include <cstdint>
#include <string>

#include "import/PointSource.h"

namespace ovcf {

// Exact for |value| below 2^52; values beyond any 32-bit result and NaN give fixed answers
// instead of undefined conversions (they never reach the indexer: the range check refuses them).
inline std::uint32_t roundToQuantized(double value) {
    if (!(std::fabs(value) < 4503599627370496.0)) return value > 0 ? 0xFFFFFFFFu : 0u;
    const std::int64_t whole = static_cast<std::int64_t>(value);  // truncates toward zero
    const double fraction = value - static_cast<double>(whole);   // exact
    const std::int64_t rounded = whole + (fraction >= 0.5) - (fraction <= -0.5);
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(rounded));
}

inline std::uint32_t quantizeCoordinate(double coordinate, double offset, double step) {
    return roundToQuantized((coordinate - offset) / step);
}

// A point of a source that knows coordinates and colour only (PLY, XYZ text).
inline PointRecord quantizedColorPoint(const double xyz[3], const std::uint8_t rgb[3],
                                       const std::array<double, 3>& offset, const std::array<double, 3>& step) {
    PointRecord p{};
    p.x = quantizeCoordinate(xyz[0], offset[0], step[0]);
    p.y = quantizeCoordinate(xyz[1], offset[1], step[1]);
    p.z = quantizeCoordinate(xyz[2], offset[2], step[2]);
    p.red = rgb[0];
    p.green = rgb[1];
    p.blue = rgb[2];
    return p;
}

// The offset that puts a cloud's minimum near quantised 0 on the step grid.
inline double gridOffset(double minimum, double step) { return std::floor(minimum / step) * step; }

// The largest quantised value a source may produce: the indexer reads coordinates as signed.
constexpr double kLargestQuantized = 2147483647.0;

// Whether the cloud's maximum fits 31 bits on every axis; the first axis that does not is
// reported with the cloud's extent along it.
bool checkQuantizationRange(const Bounds3& bounds, const std::array<double, 3>& offset,
                            const std::array<double, 3>& step, std::string& error);

}  // namespace ovcf
