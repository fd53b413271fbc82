// How the octree indexer builds a file: the node sampling grid, the node size limit, the RAM
// budget, compression, the point format, where temporary files go, and the progress hook.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

// Called with the fraction done (0 to 1, never decreasing); false cancels the import.
using ImportProgressHook = bool (*)(double fraction, void* context);

constexpr std::uint64_t kMinimumRamBudget = 1048576;                      // 1 MiB
constexpr std::uint64_t kFallbackRamBudget = std::uint64_t{1} << 30;      // 1 GiB
constexpr std::uint64_t kLargestDefaultRamBudget = std::uint64_t{8} << 30;  // 8 GiB
constexpr std::uint64_t kLargestInseparableNode = 50000000;
constexpr std::uint32_t kMostThreads = 1024;

// The machine's available physical memory / 3, between 1 GiB and 8 GiB; 1 GiB when the system
// does not tell.
std::uint64_t defaultRamBudget();

struct ImportOptions {
    std::uint32_t gridSize = 128;           // a power of two from 2 to 256
    std::uint32_t maxNodePoints = 50000;    // at least 1000
    std::uint64_t ramBudget = defaultRamBudget();  // bytes, at least 1 MiB
    bool compression = true;
    std::uint32_t pointFormat = 2;          // 0 XYZ, 1 XYZ+RGB, 2 XYZ+RGB+intensity+class
    std::string temporaryParent;            // empty: the system's temporary folder
    std::string sourceDescription;          // the file's "source" metadata when not empty
    double readingShare = 0.5;              // progress share of the reading pass, in (0, 1)
    std::uint32_t threads = 0;              // threads the run uses; 0: one per core of the machine
    ImportProgressHook progressHook = nullptr;
    void* progressContext = nullptr;
    // A leaf that cannot be split (side of one unit) may hold at most this many points; lowered
    // only by tests.
    std::uint64_t largestInseparableNode = kLargestInseparableNode;
};

bool validateOptions(const ImportOptions& options, std::string& error);

// Bytes a point of one node needs while the node is written: the points themselves, the raw block
// and the compressed block (18 bytes each at most).
constexpr std::uint64_t kNodeBytesPerPoint = 54;

// The grid the run samples with: `gridSize`, halved while one node's largest sample (G^3 points)
// would need more than half the RAM budget; at least 2.
std::uint32_t effectiveGridSize(const ImportOptions& options);

// The most points a leaf that cannot be split may hold within the budget: half the budget's worth
// of node points, but never fewer than maxNodePoints.
std::uint64_t largestLeafForBudget(const ImportOptions& options);

// The threads a run uses: `threads`, or the machine's cores (at most 64) when it is 0.
unsigned effectiveThreadCount(const ImportOptions& options);
// Raw bytes of nodes that may wait for their encoding at a time: 32 MiB, or a 32nd of a smaller
// budget.
std::uint64_t nodeQueueBytes(const ImportOptions& options);

// The reading share as used: values outside the open interval (0, 1) count as 0.5.
double effectiveReadingShare(const ImportOptions& options);

// Points a single bucket may keep in memory: budget / 144 (a node's eight children of 18-byte
// points fit together), at least 1024. Splitting such a bucket in memory takes a second array of
// its points and a byte a point.
std::uint64_t bucketRamLimitPoints(std::uint64_t ramBudget);

// Points all buckets may keep in memory together: the budget less what that split takes, the
// largest node being written (with the run's effective grid), the nodes waiting for their
// encoding, a sampling bitmap per thread and 64 MiB of fixed buffers (an
// eighth of a smaller budget); at least one bucket's limit.
std::uint64_t bucketPoolPoints(const ImportOptions& options);

}  // namespace ovcf
