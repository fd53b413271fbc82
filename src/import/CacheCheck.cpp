#include "import/CacheCheck.h"

#include "core/Log.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

const char* cacheCheckText(CacheCheckResult result) {
    switch (result) {
    case CacheMatches: return "the cache matches the cloud";
    case CacheMissing: return "the cache file does not exist";
    case CacheUnreadable: return "the cache file cannot be read";
    case CacheNewerVersion: return "the cache was written by a newer version";
    case CacheWithoutSignature: return "the cache has no content signature";
    case CacheCountDiffers: return "the cloud has a different number of points";
    case CacheModified: return "the cloud has been modified";
    }
    return "";
}

CacheCheckResult checkCache(const std::string& cachePath, std::uint64_t pointCount, std::uint64_t signature,
                            std::string& detail) {
    detail.clear();
    // A commit that died half-way is undone first; the probe reads through a journal that stays.
    std::string recovery;
    if (!recoverInterruptedCommit(cachePath, recovery)) logLine(LogWarn, "%s", recovery.c_str());
    FileHeader header;
    switch (OvcfReader::probeHeader(cachePath, header, detail)) {
    case ProbeValid: break;
    case ProbeMissing: return CacheMissing;
    case ProbeNewer: return CacheNewerVersion;
    case ProbeUnreadable:
    default: return CacheUnreadable;
    }
    detail.clear();
    if (header.currentSignature == 0) {
        detail = "the cache has no content signature";
        return CacheWithoutSignature;
    }
    const std::uint64_t alive = header.pointCount - header.deletedCount;
    if (alive == pointCount) {
        if (header.currentSignature == signature) return CacheMatches;
        detail = "same number of points but different content (moved, georeferenced or edited)";
        return CacheModified;
    }
    detail = "the cloud has " + std::to_string(pointCount) + " points, the cache has " + std::to_string(alive);
    return CacheCountDiffers;
}

}  // namespace ovcf
