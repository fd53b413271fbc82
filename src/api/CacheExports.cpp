// Cache naming, checking, signature and building from the host's memory: argument checks and
// status mapping here, the work in import/.
#include <chrono>
#include <string>

#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/LastError.h"
#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/CacheCheck.h"
#include "import/CacheNaming.h"
#include "import/CacheSignature.h"
#include "import/ImportSummary.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"

using namespace ovcf;

namespace {

struct HostProgress {
    PcProgressCallback callback;
    void* userData;
};

bool forwardProgress(double fraction, void* context) {
    const HostProgress* host = static_cast<const HostProgress*>(context);
    return host->callback(fraction, host->userData) != 0;
}

int buildCacheFromMemory(const char* cachePath, const double* xyz, const uint32_t* colors, int64_t pointCount,
                         double step, PcProgressCallback progress, void* userData) {
    if (!cachePath || !*cachePath) {
        setLastError("the cache path is empty");
        return PC_BAD_ARGUMENT;
    }
    if (!xyz || pointCount <= 0) {
        setLastError("the cloud is empty or the pointer is null");
        return PC_BAD_ARGUMENT;
    }
    const auto start = std::chrono::steady_clock::now();
    MemoryCloud cloud(xyz, colors, static_cast<std::uint64_t>(pointCount), step, 0);
    std::string error;
    if (!cloud.checkRange(error)) {
        setLastError(error);
        return PC_BAD_ARGUMENT;
    }
    ImportOptions options;
    options.pointFormat = colors ? PointFormatXyzRgb : PointFormatXyz;
    options.sourceDescription = "memoria di Orvane";
    options.readingShare = 0.15;
    HostProgress host{progress, userData};
    if (progress) {
        options.progressHook = forwardProgress;
        options.progressContext = &host;
    }
    ImportStats stats;
    if (!buildOctree(cloud, cachePath, options, stats, error)) {
        setLastError(error);
        return PC_OPEN_FAILED;
    }
    logImportSummary(stats);
    if (logLevelThreshold() <= LogInfo) {
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        logLine(LogInfo, "cache costruita dalla memoria: %s punti in %.1f s", formatCount(stats.pointsWritten).c_str(),
                seconds);
    }
    return PC_OK;
}

}  // namespace

extern "C" {

PC_API int PC_CALL PC_CachePathFor(const char* cloudPath, char* buffer, int capacity) {
    return guardedGlobal<int>(0, [&] {
        if (!cloudPath) return 0;
        return copyOut(cachePathFor(cloudPath), buffer, capacity);
    });
}

PC_API int PC_CALL PC_CheckCache(const char* cachePath, int64_t pointCount, uint64_t signature) {
    return guardedGlobal<int>(PC_CACHE_INVALID, [&] {
        if (!cachePath) {
            setLastError("the cache path is empty");
            return static_cast<int>(PC_CACHE_MISSING);
        }
        std::string detail;
        const CacheCheckResult result =
            checkCache(cachePath, pointCount > 0 ? static_cast<std::uint64_t>(pointCount) : 0, signature, detail);
        setLastError(detail.empty() ? std::string(cacheCheckText(result)) : detail);
        return static_cast<int>(result);
    });
}

PC_API int PC_CALL PC_ComputeSignature(const char* cachePath, const double* xyz, const uint32_t* colors,
                                       int64_t pointCount, uint64_t* outSignature) {
    return guardedGlobal<int>(PC_OPEN_FAILED, [&] {
        if (!outSignature) {
            setLastError("outHash is null");
            return static_cast<int>(PC_BAD_ARGUMENT);
        }
        *outSignature = 0;
        if (!cachePath || !xyz || pointCount < 0) {
            setLastError("invalid arguments");
            return static_cast<int>(PC_BAD_ARGUMENT);
        }
        std::string error;
        std::uint64_t signature = 0;
        if (!computeCacheSignature(cachePath, xyz, colors, static_cast<std::uint64_t>(pointCount), signature, error)) {
            setLastError(error);
            return static_cast<int>(PC_OPEN_FAILED);
        }
        *outSignature = signature;
        return static_cast<int>(PC_OK);
    });
}

PC_API int PC_CALL PC_BuildCacheFromMemory(const char* cachePath, const double* xyz, const uint32_t* colors,
                                           int64_t pointCount, double step, PcProgressCallback progress,
                                           void* userData) {
    return guardedGlobal<int>(PC_OPEN_FAILED, [&] {
        return buildCacheFromMemory(cachePath, xyz, colors, pointCount, step, progress, userData);
    });
}

}  // extern "C"
