// Turning a bucket into its part of the octree: a leaf when it is small enough or cannot be
// split, otherwise a split, in memory or streaming from disk, recursively.
#pragma once

#include <string>

#include "import/IndexerRun.h"
#include "import/PointBucket.h"

namespace ovcf {

bool processBucket(IndexerRun& run, const NodeKey& key, PointBucket& bucket, std::string& error);

// Releases a bucket, counting the bytes it had written to disk first.
void releaseBucket(IndexerRun& run, PointBucket& bucket);

// Whether a node of this key and size is written whole instead of being split.
inline bool isLeaf(const IndexerRun& run, const NodeKey& key, std::uint64_t count) {
    return count <= run.options.maxNodePoints || key.level >= run.cube.exponent;
}

}  // namespace ovcf
