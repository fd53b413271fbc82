// Whether an existing cache still belongs to the host's cloud: its header is probed, then its
// alive point count and current content signature are compared with the cloud's.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

enum CacheCheckResult : int {
    CacheMatches = 0,
    CacheMissing = 1,
    CacheUnreadable = 2,
    CacheNewerVersion = 3,
    CacheWithoutSignature = 4,
    CacheCountDiffers = 5,
    CacheModified = 6,
};

// The text of a result when no more detailed message applies.
const char* cacheCheckText(CacheCheckResult result);

// `detail` receives the detailed message, or stays empty when the code's text says it all.
CacheCheckResult checkCache(const std::string& cachePath, std::uint64_t pointCount, std::uint64_t signature,
                            std::string& detail);

}  // namespace ovcf
