// How a cache's current content signature follows its deleted-points map: a point that becomes
// deleted takes its hash off, one that comes back adds it again. Only the nodes in which a bit
// changed are read, so the cost follows the edits, not the cloud.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ovcf/OvcfReader.h"

namespace ovcf {

struct SignatureChange {
    std::uint64_t signature = 0;  // the new current signature
    std::uint32_t nodesRead = 0;
};

// `reader` is open on the cache. `before` is the map that `baselineSignature` covers, `after`
// the map that the new signature is to cover. False with "cannot re-read node ..." when a
// touched node cannot be read.
bool changedSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after, std::uint64_t baselineSignature,
                      SignatureChange& change, std::string& error);

// The signature of the points that `deleted` leaves, from every node: for a file whose stored
// signature cannot be trusted as a baseline.
bool survivorsSignature(OvcfReader& reader, const std::vector<std::uint64_t>& deleted, std::uint64_t& signature,
                        std::string& error);

// The summary line of a signature brought up to date.
void logSignatureRefresh(std::uint64_t alive, std::uint32_t nodesRead, double milliseconds);

}  // namespace ovcf
