#include "import/DiskSplit.h"

#include <memory>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/BucketProcessing.h"
#include "import/NodeOutput.h"

namespace ovcf {

namespace {

using ChildBuckets = std::array<std::unique_ptr<PointBucket>, 8>;

// One pass over the bucket: kept points into run.kept, the others into the child buckets through
// the staging arrays, emptied whenever one fills and after every batch.
bool distribute(IndexerRun& run, const NodeKey& key, PointBucket& bucket, ChildBuckets& children,
                std::string& error) {
    run.grid.configure(run.cube, key, run.options.gridSize);
    const NodeGrid grid = run.grid;  // a local copy: stores below must not force reloads
    std::uint64_t* const words = run.occupancy.words();
    run.kept.clear();
    run.batch.resize(kIndexerBatchPoints);
    PointRecord* staged[8];
    std::size_t fill[8] = {};
    for (std::uint32_t o = 0; o < 8; ++o) {
        run.staging[o].resize(kOctantStagingPoints);
        staged[o] = run.staging[o].data();
    }
    auto flush = [&](std::uint32_t o) {
        const bool ok = children[o]->add(staged[o], fill[o], error);
        fill[o] = 0;
        return ok;
    };
    if (!bucket.beginReading(error)) return false;
    for (;;) {
        std::size_t count = 0;
        if (!bucket.read(run.batch.data(), run.batch.size(), count, error)) return false;
        if (count == 0) break;
        const PointRecord* points = run.batch.data();
        for (std::size_t i = 0; i < count; ++i) {
            std::uint32_t cell, octant;
            grid.locate(points[i], cell, octant);
            std::uint64_t& word = words[cell >> 6];
            const std::uint64_t bit = std::uint64_t{1} << (cell & 63);
            if (!(word & bit)) {
                word |= bit;
                run.kept.push_back(points[i]);
                continue;
            }
            staged[octant][fill[octant]++] = points[i];
            if (fill[octant] == kOctantStagingPoints && !flush(octant)) return false;
        }
        for (std::uint32_t o = 0; o < 8; ++o)
            if (fill[o] > 0 && !flush(o)) return false;
        // Read once: its pages can serve the children's files right away.
        bucket.discardReadPoints();
        if (!reportIndexingProgress(run, error)) return false;
    }
    run.occupancy.clearCellsOf(grid, run.kept.data(), run.kept.size());
    return true;
}

}  // namespace

bool splitOnDisk(IndexerRun& run, const NodeKey& key, PointBucket& bucket, std::string& error) {
    if (logLevelThreshold() <= LogDebug)
        logLine(LogDebug, "nodo %s: suddivisione su disco di %s punti", nodeName(key).c_str(),
                formatCount(bucket.totalPoints()).c_str());
    ChildBuckets children;
    for (std::uint32_t octant = 0; octant < 8; ++octant)
        children[octant] =
            std::make_unique<PointBucket>(run.folder, nodeName(childKey(key, octant)), run.bucketLimit, &run.pool);

    if (!distribute(run, key, bucket, children, error)) return false;
    if (!emitNode(run, key, run.kept.data(), run.kept.size(), error)) return false;
    releaseBucket(run, bucket);
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
