#include "import/SourceReading.h"

#include <algorithm>

#include "core/Progress.h"
#include "ovcf/ContentSignature.h"

namespace ovcf {

namespace {

// The signature counts only what the file will keep: fields the point format lacks are 0.
std::uint64_t batchSignature(const PointRecord* points, std::size_t count, std::uint32_t pointFormat) {
    std::uint64_t sum = 0;
    if (pointFormat >= 2) {
        for (std::size_t i = 0; i < count; ++i) sum += pointHash(points[i]);
    } else if (pointFormat == 1) {
        for (std::size_t i = 0; i < count; ++i) {
            const PointRecord& p = points[i];
            sum += pointHash(p.x, p.y, p.z, 0, p.red, p.green, p.blue, 0);
        }
    } else {
        for (std::size_t i = 0; i < count; ++i) sum += pointHash(points[i].x, points[i].y, points[i].z, 0, 0, 0, 0, 0);
    }
    return sum;
}

}  // namespace

bool readSource(IndexerRun& run, PointSource& source, const PointSink& sink, IntegerBox& box, std::string& error) {
    const std::uint64_t expected = source.pointCount();
    ProgressReporter progress("lettura sorgente", expected, 2000);
    run.batch.resize(kIndexerBatchPoints);
    std::uint64_t read = 0;
    std::uint64_t signature = 0;
    for (;;) {
        std::size_t count = 0;
        if (!source.read(run.batch.data(), run.batch.size(), count, error)) return false;
        if (count == 0) break;
        const PointRecord* points = run.batch.data();
        for (std::size_t i = 0; i < count; ++i) box.add(points[i]);
        signature += batchSignature(points, count, run.options.pointFormat);
        if (!sink(points, count, error)) return false;
        read += count;
        progress.update(read);
        if (run.options.progressHook) {
            double fraction = expected > 0 ? static_cast<double>(read) * run.readingShare / static_cast<double>(expected)
                                           : 0.0;
            fraction = std::max(std::min(fraction, run.readingShare), run.lastFraction);
            run.lastFraction = fraction;
            if (!run.options.progressHook(fraction, run.options.progressContext)) {
                error = "operation cancelled";
                return false;
            }
        }
    }
    if (read == 0) {
        error = "the source contains no points";
        return false;
    }
    progress.finish();
    run.stats.pointsRead = read;
    run.stats.signatureIn = signature;
    return true;
}

}  // namespace ovcf
