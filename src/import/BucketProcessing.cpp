#include "import/BucketProcessing.h"

#include <vector>

#include "import/DiskSplit.h"
#include "import/MemorySplit.h"
#include "import/NodeOutput.h"

namespace ovcf {

void releaseBucket(IndexerRun& run, PointBucket& bucket) {
    run.stats.temporaryBytes += bucket.bytesOnDisk();
    bucket.release();
}

bool processBucket(IndexerRun& run, const NodeKey& key, PointBucket& bucket, std::string& error) {
    const std::uint64_t count = bucket.totalPoints();
    if (count == 0) return true;
    if (isLeaf(run, key, count)) {
        // Refused before its points are read: they would not fit.
        if (count > run.options.largestInseparableNode || count > run.largestLeaf)
            return emitLeaf(run, key, nullptr, count, error);
        PointArray points;
        if (!bucket.readAll(points, error)) return false;
        releaseBucket(run, bucket);
        DrainOnExit drained(run.output);
        return emitLeaf(run, key, points.data(), points.size(), error) && run.output.drain(error);
    }
    if (bucket.isSpilled()) return splitOnDisk(run, key, bucket, error);
    PointArray points;
    bucket.takePoints(points);
    return splitInMemory(run, key, points, error);
}

}  // namespace ovcf
