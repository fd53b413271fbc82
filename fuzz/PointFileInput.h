// How a point-file fuzz input is laid out, shared by the fuzz targets and the tests that replay
// their findings: the first byte picks the re-quantisation step (none or one of three), the rest
// is the file.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf::fuzz {

struct PointFileInput {
    double step = 0.0;
    const std::uint8_t* file = nullptr;
    std::size_t size = 0;
};

inline PointFileInput splitPointFileInput(const std::uint8_t* data, std::size_t size) {
    static constexpr double kSteps[4] = {0.0, 0.001, 0.25, 1e-9};
    if (size == 0) return {0.0, data, 0};
    return {kSteps[data[0] & 3], data + 1, size - 1};
}

}  // namespace ovcf::fuzz
