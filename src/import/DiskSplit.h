// Splitting a node whose points are on disk: the bucket is streamed in batches, sampled exactly as
// in memory, and the points that move on are appended to eight child buckets, which are then
// processed in octant order.
#pragma once

#include <string>

#include "import/IndexerRun.h"
#include "import/PointBucket.h"

namespace ovcf {

bool splitOnDisk(IndexerRun& run, const NodeKey& key, PointBucket& bucket, std::string& error);

}  // namespace ovcf
