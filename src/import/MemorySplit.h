// Splitting a node whose points are all in memory: the first point in each grid cell stays in the
// node, the others go to their octant's child, which is split the same way until it is small
// enough. Two arrays of the node's size are used in turn, so nothing else is allocated.
#pragma once

#include <string>
#include <vector>

#include "import/IndexerRun.h"

namespace ovcf {

// `points` (emptied on return) belong to node `key`, which has more points than a leaf may hold
// and can still be split.
bool splitInMemory(IndexerRun& run, const NodeKey& key, PointArray& points, std::string& error);

}  // namespace ovcf
