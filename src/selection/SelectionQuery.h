// What one selection run needs besides the shape, and what it reports. The engine knows nothing
// of GL or of the window: the view hands it the camera as a matrix and the viewport size.
#pragma once

#include <array>
#include <cstdint>

#include "core/Vec3.h"
#include "selection/PointBitmap.h"

namespace ovcf {

class SelectionFilter;

// The region outside which nothing is selected (the clip box), in the local frame: world minus
// the query's local origin.
class SelectionRegion {
public:
    virtual ~SelectionRegion() = default;
    virtual bool contains(const Vec3d& local) const = 0;
    // Whether the axis-aligned box [min, max], widened by `margin` on every side, meets the region.
    virtual bool meetsBox(const Vec3d& min, const Vec3d& max, double margin) const = 0;
    // Whether the point lies in the region widened by `margin` on every side. By default: a cube
    // of half-side `margin` around it meets the region.
    virtual bool containsWithin(const Vec3d& local, double margin) const { return meetsBox(local, local, margin); }
};

struct SelectionQuery {
    std::array<float, 16> viewProjection{};  // column-major, local frame
    Vec3d localOrigin;                       // what the local frame is measured from
    int viewportWidth = 1;
    int viewportHeight = 1;
    const SelectionRegion* region = nullptr;  // null: no clip box in use
    SelectionFilter* filter = nullptr;        // null: every point in the shape is selected
    const PointBitmap* deleted = nullptr;     // may be null: nothing deleted
};

enum CombineMode : std::uint32_t { CombineReplace = 0, CombineAdd = 1, CombineSubtract = 2 };

// "sostituisci", "aggiungi", "sottrai"; "" for any other value.
const char* combineModeName(std::uint32_t mode);

struct SelectionReport {
    std::uint64_t found = 0;          // points this run set (or cleared, when subtracting)
    std::uint64_t totalSelected = 0;  // selected after combining
    std::uint64_t examined = 0;       // points in front of the camera
    std::uint64_t inShape = 0;
    std::uint64_t rejectedByFilter = 0;
    std::uint32_t nodesRead = 0;
    std::uint32_t nodesWhole = 0;     // lay wholly inside the shape: selected without reading
    std::uint32_t subtreesDiscarded = 0;
    std::uint32_t nodesReread = 0;    // by a filter's second pass
    double firstPassSeconds = 0.0;    // workers' reading and testing, join included
    double secondPassSeconds = 0.0;
    double workerSeconds = 0.0;       // while the worker threads ran (both passes): the rest runs on one
    double seconds = 0.0;
    // Filled by the filter (SelectionFilter::fillReport) for its lines and the host.
    std::uint64_t countedInGrid = 0;  // points its grid counted, inside the shape or not
    std::uint64_t filterKept = 0;     // spacing: points kept; isolated: with enough neighbours
    std::uint64_t filterCells = 0;    // occupied cells of its grid
    double solveSeconds = 0.0;        // its work between the passes
};

}  // namespace ovcf
