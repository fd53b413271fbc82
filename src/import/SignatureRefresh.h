// Bringing a cache's current content signature up to date after a commit of deletions, so that a
// host that removed the same points from its cloud still finds the cache matching. Only the nodes
// in which the commit deleted points are read again: the cost follows the deletions, not the
// cloud.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ovcf/OvcfReader.h"

namespace ovcf {

// `reader` is open on the cache; `committedBits` marks (bit g % 64 of word g / 64) the points the
// commit deleted; `deletedPerNode[n]` is how many of them node n holds (indexed by node, may be
// shorter than the node count); `aliveAfter` is the point count minus the deleted count after the
// commit. On failure the file's signature is left as it was.
bool refreshCacheSignature(OvcfReader& reader, const std::uint64_t* committedBits,
                           const std::vector<std::uint64_t>& deletedPerNode, std::uint64_t aliveAfter,
                           std::string& error);

}  // namespace ovcf
