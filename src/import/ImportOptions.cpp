#include "import/ImportOptions.h"

#include <algorithm>
#include <thread>

#include "ovcf/PointRecord.h"
#include "platform/SystemInfo.h"

namespace ovcf {

std::uint64_t defaultRamBudget() {
    std::uint64_t available = 0;
    if (!availablePhysicalMemory(available)) return kFallbackRamBudget;
    return std::clamp(available / 3, kFallbackRamBudget, kLargestDefaultRamBudget);
}

bool validateOptions(const ImportOptions& options, std::string& error) {
    const std::uint32_t grid = options.gridSize;
    if (grid < 2 || grid > 256 || (grid & (grid - 1)) != 0) {
        error = "gridSize must be a power of two between 2 and 256 (received: " + std::to_string(grid) + ")";
        return false;
    }
    if (options.maxNodePoints < 1000) {
        error = "maxNodePoints must be at least 1000 (received: " + std::to_string(options.maxNodePoints) + ")";
        return false;
    }
    if (options.maxNodePoints > kLargestInseparableNode) {
        error = "maxNodePoints must be at most 50000000 (received: " + std::to_string(options.maxNodePoints) + ")";
        return false;
    }
    if (options.ramBudget < kMinimumRamBudget) {
        error = "the RAM budget must be at least 1 MiB";
        return false;
    }
    if (options.pointFormat > 2) {
        error = "invalid point format";
        return false;
    }
    if (options.threads > kMostThreads) {
        error = "threads must be at most " + std::to_string(kMostThreads) + " (received: " +
                std::to_string(options.threads) + ")";
        return false;
    }
    return true;
}

std::uint32_t effectiveGridSize(const ImportOptions& options) {
    std::uint32_t grid = options.gridSize;
    auto sampleBytes = [](std::uint64_t g) { return g * g * g * kNodeBytesPerPoint; };
    while (grid > 2 && sampleBytes(grid) > options.ramBudget / 2) grid /= 2;
    return grid;
}

std::uint64_t largestLeafForBudget(const ImportOptions& options) {
    return std::max<std::uint64_t>(options.maxNodePoints, options.ramBudget / 2 / kNodeBytesPerPoint);
}

unsigned effectiveThreadCount(const ImportOptions& options) {
    if (options.threads > 0) return options.threads;
    return std::clamp(std::thread::hardware_concurrency(), 1u, 64u);
}

std::uint64_t nodeQueueBytes(const ImportOptions& options) {
    return std::min<std::uint64_t>(std::uint64_t{32} << 20, options.ramBudget / 32);
}

double effectiveReadingShare(const ImportOptions& options) {
    const double share = options.readingShare;
    return share > 0.0 && share < 1.0 ? share : 0.5;
}

std::uint64_t bucketRamLimitPoints(std::uint64_t ramBudget) { return std::max<std::uint64_t>(ramBudget / 144, 1024); }

std::uint64_t bucketPoolPoints(const ImportOptions& options) {
    const std::uint64_t budget = options.ramBudget;
    const std::uint64_t limit = bucketRamLimitPoints(budget);
    const std::uint64_t grid = options.gridSize;
    const std::uint64_t largestNode = std::max<std::uint64_t>(grid * grid * grid, options.maxNodePoints);
    // A node's raw and compressed blocks come on top of the points that wait for them.
    const std::uint64_t queue = 3 * nodeQueueBytes(options);
    const std::uint64_t bitmaps = std::uint64_t{effectiveThreadCount(options)} * grid * grid * grid / 8;
    const std::uint64_t reserved = limit * (sizeof(PointRecord) + 1) + largestNode * kNodeBytesPerPoint + queue + bitmaps +
                                   std::min<std::uint64_t>(std::uint64_t{64} << 20, budget / 8);
    return std::max(budget > reserved ? (budget - reserved) / sizeof(PointRecord) : 0, limit);
}

}  // namespace ovcf
