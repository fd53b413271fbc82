#include "import/SourceReading.h"

#include <algorithm>

#include "core/Progress.h"
#include "import/SourcePrefetch.h"

namespace ovcf {

bool readSource(IndexerRun& run, PointSource& source, const PointSink& sink, IntegerBox& box, std::string& error) {
    const std::uint64_t expected = source.pointCount();
    ProgressReporter progress("lettura sorgente", expected, 2000);
    SourcePrefetch batches(source, kIndexerBatchPoints, run.options.pointFormat, run.workers.threads() > 1);
    std::uint64_t read = 0;
    std::uint64_t signature = 0;
    for (;;) {
        std::size_t count = 0;
        const PointRecord* points = nullptr;
        BatchSummary summary;
        if (!batches.next(points, count, summary, error)) return false;
        if (count == 0) break;
        for (int axis = 0; axis < 3; ++axis) {
            box.min[axis] = std::min(box.min[axis], summary.box.min[axis]);
            box.max[axis] = std::max(box.max[axis], summary.box.max[axis]);
        }
        signature += summary.signature;
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
