// The state of one octree build, shared by its steps (reading, splitting, node output): options,
// writer, scratch folder, root cube, RAM limits, progress, statistics and reusable buffers.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/Progress.h"
#include "core/WorkerPool.h"
#include "import/BucketMemoryPool.h"
#include "import/ImportOptions.h"
#include "import/ImportStats.h"
#include "import/NodeGrid.h"
#include "import/NodeWriteQueue.h"
#include "import/ParallelPartition.h"
#include "import/PointArray.h"
#include "import/RootCube.h"
#include "ovcf/OvcfWriter.h"

namespace ovcf {

constexpr std::size_t kIndexerBatchPoints = 262144;
constexpr std::size_t kOctantStagingPoints = 32832;

// What a subtree split on a worker reuses from one subtree to the next.
struct SubtreeScratch {
    OccupancyBitmap occupancy;
    ScratchBlock destinations;
};

struct IndexerRun {
    IndexerRun(const ImportOptions& importOptions, ImportStats& importStats, std::string temporaryFolder);

    const ImportOptions& options;
    ImportStats& stats;
    std::string folder;
    OvcfWriter writer;
    WorkerPool workers;     // the run's threads, the caller's included
    NodeWriteQueue output;  // nodes on their way to the writer, in order
    RootCube cube;
    std::uint64_t bucketLimit;  // points one bucket keeps in memory
    std::uint64_t largestLeaf;  // points a leaf that cannot be split may hold within the budget
    BucketMemoryPool pool;      // points all buckets keep in memory together
    double readingShare;
    double lastFraction = 0.0;
    std::uint64_t pointsWritten = 0;
    std::uint64_t totalPoints = 0;
    std::optional<ProgressReporter> progress;  // "indicizzazione", from the end of reading

    // Scratch reused by every node, so that splitting allocates nothing once warmed up.
    NodeGrid grid;
    OccupancyBitmap occupancy;
    PartitionScratch stretches;  // for the nodes split on all threads
    std::vector<PointRecord> batch;
    std::vector<PointRecord> kept;
    std::array<std::vector<PointRecord>, 8> staging;
    ScratchBlock splitPoints;   // the second array of a node split in memory
    ScratchBlock destinations;  // the way each point of that node goes
    std::array<SubtreeScratch, 8> subtreeScratch;  // one for each subtree split at once
};

// Calls the progress hook, when there is one, with the fraction for the points written so far;
// false with "operation cancelled" when the hook says stop.
bool reportIndexingProgress(IndexerRun& run, std::string& error);

}  // namespace ovcf
