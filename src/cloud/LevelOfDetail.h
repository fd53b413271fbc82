// Chooses, once per frame on the UI thread, the nodes worth drawing: a walk of the octree from
// the root in order of projected size, skipping what lies outside the view frustum or the clip
// box and what is too small on screen, until the point budget is spent. Nodes that are chosen
// but not loaded are requested from the loader with their priority. Knows nothing of GL or of
// the loader's threads: what is loaded and how a request is made come from the caller.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "cloud/CloudNodes.h"
#include "core/Frustum.h"

namespace ovcf {

// What the traversal sees of the camera, everything in render space.
struct LodView {
    Vec3d eye;
    FrustumPlanes frustum;
    double projectionFactor = 1.0;  // viewport height / (2 tan(fov / 2)), pixels per metre at 1 m
    // The clip box as six inward planes; empty when the clip box is off.
    std::optional<FrustumPlanes> clip;
};

// What deletion left of each node, in node-record order: points deleted in the node itself and
// points surviving in its whole subtree. Empty spans: nothing is deleted.
struct LodEditCounts {
    std::span<const std::uint32_t> deletedInNode;
    std::span<const std::uint64_t> survivingInSubtree;
};

struct LodCounters {
    std::uint32_t visited = 0;
    std::uint32_t emptied = 0;  // whole subtree deleted
    std::uint32_t culled = 0;   // outside the view frustum
    std::uint32_t cut = 0;      // wholly outside the clip box
    std::uint32_t missing = 0;  // not loaded yet, requested
    std::uint64_t chosenPoints = 0;
    bool budgetReached = false;
};

class LevelOfDetail {
public:
    using IsLoaded = std::function<bool(std::uint32_t nodeIndex)>;
    using Request = std::function<void(std::uint32_t nodeIndex, float priority)>;

    // Children whose sphere holds the camera get this priority, above any projected size.
    static constexpr double kInsidePriority = 1e9;

    // Sizes the per-node state for a cloud of `nodeCount` nodes; every node is then unused.
    void reset(std::size_t nodeCount);
    // Deleted points cost nothing: subtrees with no surviving point are skipped and only the
    // surviving points of a node count against the budget. The spans must outlive select();
    // counts shorter than the node table are ignored.
    void setEditCounts(const LodEditCounts& counts) { edits_ = counts; }

    // One frame's selection. `frameNumber` must grow from frame to frame and start at 1: a last
    // use of 0 means never used. Afterwards chosen() lists the nodes to draw, parents before
    // children, loaded or not.
    void select(const std::vector<NodeInfo>& nodes, const LodView& view, std::uint32_t threshold,
                std::uint64_t pointBudget, std::uint64_t frameNumber, const IsLoaded& isLoaded,
                const Request& request);

    const std::vector<std::uint32_t>& chosen() const { return chosen_; }
    const LodCounters& counters() const { return counters_; }
    // Frame in which the node was last chosen, 0 when never.
    const std::vector<std::uint64_t>& lastUse() const { return lastUse_; }
    // The deepest level among the node's chosen descendants (itself included) in the last frame;
    // meaningful for chosen nodes only.
    std::uint32_t deepestChosenLevel(std::uint32_t nodeIndex) const { return deepestLevel_[nodeIndex]; }

    // Projected diameter in pixels of a sphere seen from `eye`, or kInsidePriority when the eye
    // is inside it.
    static double childPriority(const Vec3d& eye, const Vec3d& centre, double radius, double projectionFactor);

private:
    struct Entry {
        std::uint32_t nodeIndex;
        float priority;
    };
    static bool lowerPriority(const Entry& a, const Entry& b);

    std::vector<Entry> heap_;
    std::vector<std::uint32_t> chosen_;
    std::vector<std::uint64_t> lastUse_;
    std::vector<std::uint32_t> deepestLevel_;
    LodCounters counters_;
    LodEditCounts edits_;
};

}  // namespace ovcf
