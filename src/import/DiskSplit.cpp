#include "import/DiskSplit.h"

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/NodeSampler.h"

namespace ovcf {

bool splitOnDisk(IndexerRun& run, const NodeKey& key, PointBucket& bucket, std::string& error) {
    if (logLevelThreshold() <= LogDebug)
        logLine(LogDebug, "nodo %s: suddivisione su disco di %s punti", nodeName(key).c_str(),
                formatCount(bucket.totalPoints()).c_str());
    ChildBuckets children;
    if (!makeChildBuckets(run, key, bucket.totalPoints(), children, error)) return false;
    NodeSampler sampler(run, key, children);
    run.batch.resize(kIndexerBatchPoints);
    if (!bucket.beginReading(error)) return false;
    for (;;) {
        std::size_t count = 0;
        if (!bucket.read(run.batch.data(), run.batch.size(), count, error)) return false;
        if (count == 0) break;
        if (!sampler.add(run.batch.data(), count, error)) return false;
        // Read once: its pages can serve the children's files right away.
        bucket.discardReadPoints();
        if (!reportIndexingProgress(run, error)) return false;
    }
    sampler.finish();
    return writeSampleThenChildren(run, key, children, &bucket, error);
}

}  // namespace ovcf
