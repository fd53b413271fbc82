// The indexer's side of writing a node: the writer gets its final points, the statistics and the
// progress follow.
#pragma once

#include <cstddef>
#include <string>

#include "import/IndexerRun.h"

namespace ovcf {

bool emitNode(IndexerRun& run, const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error);

// A node that is not split: all its points, unless more share one unit cube than any node may
// hold ("cannot be separated") or than the RAM budget can hold in one node.
bool emitLeaf(IndexerRun& run, const NodeKey& key, const PointRecord* points, std::size_t count, std::string& error);

}  // namespace ovcf
