// Splitting a node whose points arrive as a stream of batches (from its spilled bucket, or from
// the source while it is read): the first point in each grid cell stays in the node (run.kept),
// the others are appended to the child bucket of their octant, in the order they came.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <string>

#include "import/IndexerRun.h"
#include "import/PointBucket.h"

namespace ovcf {

using ChildBuckets = std::array<std::unique_ptr<PointBucket>, 8>;

// The eight child buckets of node `key`, named after the child nodes, for about `points` points
// in all. Those the shared pool could not hold are on disk from the start: filling their memory
// first would only end in writing it all out when the pool says no. Which buckets are on disk
// changes how fast, never what, the octree comes out.
bool makeChildBuckets(IndexerRun& run, const NodeKey& key, std::uint64_t points, ChildBuckets& children,
                      std::string& error);

class NodeSampler {
public:
    // Uses the run's grid, occupancy bitmap, kept points and staging arrays until finish().
    NodeSampler(IndexerRun& run, const NodeKey& key, ChildBuckets& children);

    // The next points of the node, in order; everything staged is in the buckets on return.
    bool add(const PointRecord* points, std::size_t count, std::string& error);
    // Clears the occupancy bitmap for the next node; run.kept holds the node's sample.
    void finish();

private:
    IndexerRun& run_;
    ChildBuckets& children_;
};

// Writes the node with the sample in run.kept, releases `parent` (when there is one), then
// processes the children in octant order and releases them.
bool writeSampleThenChildren(IndexerRun& run, const NodeKey& key, ChildBuckets& children, PointBucket* parent,
                             std::string& error);

}  // namespace ovcf
