#include "import/OctreeIndexer.h"

#include <chrono>
#include <cmath>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "import/BucketProcessing.h"
#include "import/ImportConsistency.h"
#include "import/ImportPreparation.h"
#include "import/IndexerRun.h"
#include "import/NodeSampler.h"
#include "import/PointBucket.h"
#include "import/SourceReading.h"
#include "import/TemporaryFolder.h"
#include "ovcf/FileName.h"
#include "platform/SystemFile.h"

namespace ovcf {

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start) { return std::chrono::duration<double>(Clock::now() - start).count(); }

OvcfWriterParams writerParams(const PointSource& source, const ImportOptions& options, const IntegerBox& box,
                              const RootCube& cube) {
    OvcfWriterParams params;
    const auto step = source.step();
    const auto offset = source.offset();
    const Bounds3 bounds = worldBounds(box, step, offset);
    for (int axis = 0; axis < 3; ++axis) {
        params.step[axis] = step[axis];
        params.offset[axis] = offset[axis];
        params.boundsMin[axis] = bounds.min[axis];
        params.boundsMax[axis] = bounds.max[axis];
        params.rootOrigin[axis] = cube.origin[axis];
    }
    params.rootExponent = cube.exponent;
    params.pointFormat = options.pointFormat;
    params.compression = options.compression;
    params.gridSize = options.gridSize;
    params.maxNodePoints = options.maxNodePoints;
    params.source = options.sourceDescription;
    return params;
}

void logBounds(const Bounds3& b) {
    if (logLevelThreshold() > LogInfo) return;
    logLine(LogInfo, "bounding box: X [%.3f .. %.3f]  Y [%.3f .. %.3f]  Z [%.3f .. %.3f]", b.min[0], b.max[0], b.min[1],
            b.max[1], b.min[2], b.max[2]);
}

void collectWriterStats(const OvcfWriter& writer, ImportStats& stats) {
    stats.pointsWritten = writer.pointsWritten();
    stats.nodeCount = writer.nodeCount();
    stats.leafCount = 0;
    for (const HierarchyRecord& record : writer.nodes()) stats.leafCount += record.childMask == 0 ? 1 : 0;
    stats.deepestLevel = writer.deepestLevel();
    stats.fileSize = writer.fileSize();
    stats.rawBytes = writer.rawBytes();
    stats.storedBytes = writer.storedBytes();
    stats.signatureOut = writer.signature();
}

// A full disk is named: the folder holding the scratch folder when a bucket's file failed, else
// the output's folder (the new file is written there under a temporary name).
void nameTheFullDisk(const std::string& scratchFolder, const std::string& outputPath, std::string& error) {
    const std::string full = SystemFile::diskFullText();
    if (full.empty() || error.find(full) == std::string::npos) return;
    const std::string folder = folderOf(error.find("temporary file") != std::string::npos ? scratchFolder : outputPath);
    error += " (writing in '" + (folder.empty() ? std::string(".") : folder) + "')";
}

// The integer box of a source that knows it before reading, when the root will be split: then
// the root cube is fixed first and the reading pass samples the root and fills its children's
// buckets itself, instead of putting every point in a root bucket (on disk when it is too large)
// and splitting that; even a root that fits in memory would take a second array of its size.
// The file comes out the same.
bool rootSplitWhileReading(const IndexerRun& run, const PointSource& source, IntegerBox& box) {
    if (source.pointCount() <= run.options.maxNodePoints) return false;
    std::array<std::uint32_t, 3> min{}, max{};
    if (!source.quantizedBounds(min, max)) return false;
    for (int axis = 0; axis < 3; ++axis) {
        box.min[axis] = static_cast<std::int32_t>(min[axis]);
        box.max[axis] = static_cast<std::int32_t>(max[axis]);
    }
    return true;
}

// Everything from the reading pass to the closed file; the buckets and the writer live only in
// here, so that their files are gone before the scratch folder is removed.
bool indexSource(PointSource& source, const std::string& outputPath, const ImportOptions& options,
                 const std::string& folder, ImportStats& stats, std::string& error) {
    const Clock::time_point start = Clock::now();
    IndexerRun run(options, stats, folder);
    warnAboutDiskSpace(folder, source.pointCount());
    logRamBudget(options.ramBudget, run.bucketLimit);
    run.occupancy.resize(options.gridSize * options.gridSize * options.gridSize);

    PointBucket root(folder, "root", run.bucketLimit, &run.pool);
    ChildBuckets children;
    IntegerBox announced, box;
    const bool splitWhileReading = rootSplitWhileReading(run, source, announced);
    if (splitWhileReading) {
        // A second round only for bounds a source took from a header that the points belie.
        for (bool again = true;;) {
            if (!computeRootCube(announced, run.cube, error)) return false;
            if (!makeChildBuckets(run, NodeKey{}, source.pointCount(), children, error)) return false;
            NodeSampler sampler(run, NodeKey{}, children);
            const PointSink sink = [&sampler](const PointRecord* points, std::size_t count, std::string& e) {
                return sampler.add(points, count, e);
            };
            box = IntegerBox{};
            if (!readSource(run, source, sink, box, error)) return false;
            sampler.finish();
            const bool matches = box.min == announced.min && box.max == announced.max;
            if (matches && stats.pointsRead > options.maxNodePoints) break;
            std::array<std::uint32_t, 3> min{}, max{};
            for (int axis = 0; axis < 3; ++axis) {
                min[axis] = static_cast<std::uint32_t>(box.min[axis]);
                max[axis] = static_cast<std::uint32_t>(box.max[axis]);
            }
            std::string reason;
            if (matches || !again || !source.restartWithBounds(min, max, reason)) {
                error = !reason.empty() ? reason : "internal error: the points read do not match the bounding box the source announced";
                return false;
            }
            if (logLevelThreshold() <= LogInfo)
                logLine(LogInfo, "il riquadro dell'intestazione non e' quello dei punti: seconda lettura con quello misurato");
            announced = box;
            again = false;
        }
    } else {
        if (!root.expect(source.pointCount(), error)) return false;
        const PointSink sink = [&root](const PointRecord* points, std::size_t count, std::string& e) {
            return root.add(points, count, e);
        };
        if (!readSource(run, source, sink, box, error)) return false;
        if (!root.finishWriting(error)) return false;
    }
    stats.readingSeconds = secondsSince(start);

    const Clock::time_point indexingStart = Clock::now();
    logBounds(worldBounds(box, source.step(), source.offset()));
    if (!computeRootCube(box, run.cube, error)) return false;
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "cubo radice dell'octree: lato 2^%u unita' = %.3f m (approssimato sull'asse X)",
                run.cube.exponent, std::fabs(source.step()[0]) * std::ldexp(1.0, static_cast<int>(run.cube.exponent)));

    if (!run.writer.open(outputPath, writerParams(source, options, box, run.cube), error)) return false;
    run.totalPoints = stats.pointsRead;
    run.progress.emplace("indicizzazione", stats.pointsRead, 2000);
    const bool indexed = splitWhileReading ? writeSampleThenChildren(run, NodeKey{}, children, nullptr, error)
                                           : processBucket(run, NodeKey{}, root, error);
    if (!indexed || !run.output.drain(error)) return false;
    // Checked before the file is closed: a wrong file never takes the place of the old cache.
    collectWriterStats(run.writer, stats);
    if (!checkImportConsistency(stats, error)) return false;
    if (!run.writer.close(error)) return false;
    run.progress->finish();
    stats.indexingSeconds = secondsSince(indexingStart);
    stats.fileSize = run.writer.fileSize();
    return true;
}

}  // namespace

bool buildOctree(PointSource& source, const std::string& outputPath, const ImportOptions& options,
                 ImportStats& stats, std::string& error) {
    const Clock::time_point start = Clock::now();
    stats = ImportStats{};
    stats.pointFormat = options.pointFormat;
    if (!validateOptions(options, error)) return false;
    ImportOptions effective = options;
    effective.gridSize = effectiveGridSize(options);
    TemporaryFolder folder;
    if (!folder.create(options.temporaryParent, error)) return false;
    logImportSetup(source, folder.path());
    if (effective.gridSize != options.gridSize && logLevelThreshold() <= LogWarn)
        logLine(LogWarn, "griglia %u ridotta a %u: il campione di un nodo non starebbe nel budget RAM di %s",
                options.gridSize, effective.gridSize, formatSize(options.ramBudget).c_str());
    const bool built = indexSource(source, outputPath, effective, folder.path(), stats, error);
    if (!built) nameTheFullDisk(folder.path(), outputPath, error);
    folder.remove();
    stats.totalSeconds = secondsSince(start);
    return built;
}

}  // namespace ovcf
