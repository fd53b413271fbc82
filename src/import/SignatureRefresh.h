// Bringing a cache's current content signature up to date after a commit of deletions, so that a
// host that removed the same points from its cloud still finds the cache matching. Only the nodes
// in which a deleted bit changed are read again: the cost follows the edits, not the cloud.
//
// The new signature is worked out from the signature and map the file held when the view last
// knew them for sure (at open or at the last successful confirmation), never from what the file
// holds now: a confirmation retried after a failure halfway never takes a point's hash off twice.
// Points that come back (restored after a confirmation) get their hash added again.
#pragma once

#include <cstdint>
#include <string>

#include "ovcf/OvcfReader.h"
#include <vector>

namespace ovcf {

struct SignatureChange {
    std::uint64_t signature = 0;  // the new current signature
    std::uint32_t nodesRead = 0;
};

// `reader` is open on the cache. `before` is the map the baseline signature covers, `after` the
// map just committed. False with "cannot re-read node ..." when a touched node cannot be read.
bool changedSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after,
                      std::uint64_t baselineSignature, SignatureChange& change, std::string& error);

// The summary line of a signature brought up to date.
void logSignatureRefresh(std::uint64_t alive, std::uint32_t nodesRead, double milliseconds);

// Computes the change and stores it in the file (one opening, the header validated) when the
// file's alive count is `aliveAfter`; logs the summary line. On failure the file's signature is
// left as it was. A baseline of 0 means the cache has no signature: nothing is stored.
bool refreshCacheSignature(OvcfReader& reader, const std::vector<std::uint64_t>& before,
                      const std::vector<std::uint64_t>& after,
                           std::uint64_t baselineSignature, std::uint64_t aliveAfter, std::uint64_t& newSignature,
                           std::string& error);

}  // namespace ovcf
