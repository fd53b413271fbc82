// A cache's points out to a LAS, PLY or XYZ file: the points that survive the deletions
// confirmed into the file, or all of them. Streams node by node, so the cloud is never held
// whole; writes to a temporary file beside the output and renames it at the end, so a failed
// or interrupted export leaves no partial output behind.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

struct ExportStats {
    std::uint64_t written = 0;
    std::uint64_t skipped = 0;  // deleted points left out
    double seconds = 0.0;
};

using ExportProgress = bool (*)(double fraction, void* context);  // false cancels

// `threads` compress a LAZ output (0: every core); the file is the same whatever their number.
bool exportPoints(const std::string& cachePath, const std::string& outputPath, bool allPoints, ExportStats& stats,
                  std::string& error, ExportProgress progress = nullptr, void* progressContext = nullptr,
                  unsigned threads = 0);

}  // namespace ovcf
