// A small cloud file for view tests: a flat coloured grid, built through the exported interface.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OrvanePC.h"
#include "TestSupport.h"

namespace ovcf::test {

inline bool buildGridCloud(const std::string& path, int side = 120) {
    std::vector<double> xyz;
    std::vector<uint32_t> rgb;
    for (int i = 0; i < side; ++i)
        for (int j = 0; j < side; ++j) {
            xyz.insert(xyz.end(), {1000.0 + i * 0.05, 2000.0 + j * 0.05, 10.0 + 0.01 * ((i * 7 + j * 3) % 50)});
            rgb.push_back(static_cast<uint32_t>((i * 2) % 256) << 16 | static_cast<uint32_t>((j * 2) % 256) << 8 | 90u);
        }
    return PC_BuildCacheFromMemory(path.c_str(), xyz.data(), rgb.data(), static_cast<int64_t>(rgb.size()), 0.001,
                                   nullptr, nullptr) == PC_OK;
}

// Renders until the picture is complete (or a frame limit).
inline void renderUntilComplete(PcView view) {
    for (int frame = 0; frame < 200 && PC_Render(view) == 1; ++frame) {
    }
}

}  // namespace ovcf::test
