#include "import/NodeSampler.h"

#include <algorithm>

#include "import/BucketProcessing.h"
#include "import/NodeOutput.h"

namespace ovcf {

bool makeChildBuckets(IndexerRun& run, const NodeKey& key, std::uint64_t points, ChildBuckets& children,
                      std::string& error) {
    for (std::uint32_t octant = 0; octant < 8; ++octant)
        children[octant] =
            std::make_unique<PointBucket>(run.folder, nodeName(childKey(key, octant)), run.bucketLimit, &run.pool);
    // An even share each: beyond a bucket's own limit they all spill; otherwise as many stay as
    // the pool holds.
    const std::uint64_t share = std::max<std::uint64_t>(points / 8, 1);
    const std::uint64_t inMemory = share > run.bucketLimit ? 0 : std::min<std::uint64_t>(8, run.pool.capacity() / share);
    for (std::uint64_t octant = inMemory; octant < 8; ++octant)
        if (!children[octant]->spillNow(error)) return false;
    return true;
}

NodeSampler::NodeSampler(IndexerRun& run, const NodeKey& key, ChildBuckets& children) : run_(run), children_(children) {
    run.grid.configure(run.cube, key, run.options.gridSize);
    run.kept.clear();
    for (std::vector<PointRecord>& staging : run.staging) staging.resize(kOctantStagingPoints);
}

bool NodeSampler::add(const PointRecord* points, std::size_t count, std::string& error) {
    const NodeGrid grid = run_.grid;  // a local copy: stores below must not force reloads
    std::uint64_t* const words = run_.occupancy.words();
    PointRecord* staged[8];
    std::size_t fill[8] = {};
    for (std::uint32_t o = 0; o < 8; ++o) staged[o] = run_.staging[o].data();
    auto flush = [&](std::uint32_t o) {
        const bool ok = children_[o]->add(staged[o], fill[o], error);
        fill[o] = 0;
        return ok;
    };
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t cell, octant;
        grid.locate(points[i], cell, octant);
        std::uint64_t& word = words[cell >> 6];
        const std::uint64_t bit = std::uint64_t{1} << (cell & 63);
        if (!(word & bit)) {
            word |= bit;
            run_.kept.push_back(points[i]);
            continue;
        }
        staged[octant][fill[octant]++] = points[i];
        if (fill[octant] == kOctantStagingPoints && !flush(octant)) return false;
    }
    for (std::uint32_t o = 0; o < 8; ++o)
        if (fill[o] > 0 && !flush(o)) return false;
    return true;
}

void NodeSampler::finish() { run_.occupancy.clearCellsOf(run_.grid, run_.kept.data(), run_.kept.size()); }

bool writeSampleThenChildren(IndexerRun& run, const NodeKey& key, ChildBuckets& children, PointBucket* parent,
                             std::string& error) {
    {
        DrainOnExit drained(run.output);  // the sample is read until then
        if (!emitNode(run, key, run.kept.data(), run.kept.size(), error) || !run.output.drain(error)) return false;
    }
    if (parent) releaseBucket(run, *parent);
    run.kept.clear();
    for (std::uint32_t octant = 0; octant < 8; ++octant) {
        PointBucket& child = *children[octant];
        if (!child.finishWriting(error)) return false;
        if (child.totalPoints() > 0 && !processBucket(run, childKey(key, octant), child, error)) return false;
        releaseBucket(run, child);
    }
    return true;
}

}  // namespace ovcf
