// The whole check of an .ovcf file behind `ovcf check`: every node read with CRC verification,
// the hierarchy's links, every point inside its node's cube, the build signature, and the
// deleted-points map against the header's count; the deep check also recomputes the current
// signature of the surviving points. A commit that died half-way is undone first (or, on a
// medium that cannot be written, the file is checked through its journal).
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace ovcf {

struct FileCheckResult {
    std::uint64_t nodes = 0;
    std::uint64_t points = 0;
};

// False with the first fault, "PATH: ..." in `fault`. `progress` (may be empty) gets the share
// of nodes read.
bool checkFile(const std::string& path, bool deep, FileCheckResult& result, std::string& fault,
               const std::function<void(double)>& progress = {});

}  // namespace ovcf
