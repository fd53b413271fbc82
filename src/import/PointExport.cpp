#include "import/PointExport.h"

#include <bit>
#include <chrono>
#include <memory>
#include <vector>

#include "import/PointFileWriter.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"

namespace ovcf {

bool exportPoints(const std::string& cachePath, const std::string& outputPath, bool allPoints, ExportStats& stats,
                  std::string& error, ExportProgress progress, void* progressContext, unsigned threads) {
    const auto start = std::chrono::steady_clock::now();
    stats = {};
    if (outputPath == cachePath || SystemFile::sameFile(outputPath, cachePath)) {
        error = "the output would overwrite the cache";
        return false;
    }
    std::unique_ptr<PointFileWriter> writer = pointFileWriterFor(outputPath, error, threads);
    if (!writer) return false;
    OvcfReader reader;
    if (!recoverInterruptedCommit(cachePath, error) || !reader.open(cachePath, error)) return false;
    const FileHeader& header = reader.header();

    // The confirmed map, read under the commit lock: never one half-way through a commit.
    ConfirmedState confirmed;
    if (!readConfirmedState(reader.file(), cachePath, confirmed, error)) return false;
    warnWhenCountDisagrees(cachePath, confirmed);
    std::vector<std::uint64_t> deleted;
    std::uint64_t deletedCount = 0;
    if (!allPoints && confirmed.mapCount > 0) {
        deleted = std::move(confirmed.map);
        deletedCount = confirmed.mapCount;
    }
    const std::uint64_t total = header.pointCount - deletedCount;

    if (!writer->begin(outputPath, header, total, error)) return false;
    std::vector<PointRecord> points;
    std::vector<PointRecord> kept;
    std::uint64_t done = 0;
    for (std::uint32_t node = 0; node < reader.nodes().size(); ++node) {
        if (!reader.readNode(node, points, error)) return false;
        const std::uint64_t first = reader.nodes()[node].firstPoint;
        const PointRecord* batch = points.data();
        std::size_t batchSize = points.size();
        if (!deleted.empty()) {
            kept.clear();
            for (std::size_t j = 0; j < points.size(); ++j) {
                const std::uint64_t g = first + j;
                if (g / 64 < deleted.size() && (deleted[g / 64] >> (g % 64)) & 1u) continue;
                kept.push_back(points[j]);
            }
            batch = kept.data();
            batchSize = kept.size();
        }
        if (!writer->write(batch, batchSize, error)) return false;
        stats.written += batchSize;
        stats.skipped += points.size() - batchSize;
        done += points.size();
        if (progress && !progress(header.pointCount ? double(done) / double(header.pointCount) : 1.0, progressContext)) {
            error = "the export was cancelled";
            return false;
        }
    }
    if (stats.written != total) {
        error = "the cache's deleted-points map does not match its points";
        return false;
    }
    if (!writer->finish(error)) return false;
    stats.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return true;
}

}  // namespace ovcf
