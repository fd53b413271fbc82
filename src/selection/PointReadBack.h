// Reading the cloud back into the host's buffers at full resolution: every point with a flag
// saying whether to hide it, or only the points that survive deletion. The nodes are read on
// worker threads with readers of their own, so the view's loader and selection readers go on
// meanwhile; the output is the same whatever their number.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/Vec3.h"
#include "selection/PointBitmap.h"
#include "selection/SelectionQuery.h"

namespace ovcf {

class OvcfReader;

// The host's arrays, borrowed for one call: 3 doubles a point (required), 0x00RRGGBB colours and
// show flags (both may be null), each holding `capacity` points.
struct HostPointBuffers {
    double* xyz = nullptr;
    std::uint32_t* colors = nullptr;
    std::uint8_t* flags = nullptr;
    std::int64_t capacity = 0;
};

struct ReadBackSource {
    std::string path;
    // The view's own reader: when given, the points are read through a second handle on the
    // file it has open rather than whatever file is at `path` now.
    OvcfReader* opened = nullptr;
    const PointBitmap* deleted = nullptr;
    const std::vector<std::uint32_t>* deletedInNode = nullptr;  // per node; nodes without deletions are copied whole
    // The clip box, when it takes part: points outside get flag 0. Measured from `origin`.
    const SelectionRegion* region = nullptr;
    Vec3d origin;
    unsigned threads = 1;  // workers reading nodes, each with a reader of its own
};

// Both return the points written, or -1 with the reason in `error`.
std::int64_t readAllPoints(const ReadBackSource& source, const HostPointBuffers& out, bool sortByElevation,
                           std::string& error);
std::int64_t readSurvivingPoints(const ReadBackSource& source, const HostPointBuffers& out, bool sortByElevation,
                                 std::string& error);

}  // namespace ovcf
