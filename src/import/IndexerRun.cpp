#include "import/IndexerRun.h"

#include <algorithm>

namespace ovcf {

IndexerRun::IndexerRun(const ImportOptions& importOptions, ImportStats& importStats, std::string temporaryFolder)
    : options(importOptions),
      stats(importStats),
      folder(std::move(temporaryFolder)),
      workers(effectiveThreadCount(importOptions)),
      output(writer, workers, nodeQueueBytes(importOptions)),
      bucketLimit(bucketRamLimitPoints(importOptions.ramBudget)),
      largestLeaf(largestLeafForBudget(importOptions)),
      pool(bucketPoolPoints(importOptions)),
      readingShare(effectiveReadingShare(importOptions)) {}

bool reportIndexingProgress(IndexerRun& run, std::string& error) {
    if (!run.options.progressHook) return true;
    double fraction = run.readingShare;
    if (run.totalPoints > 0)
        fraction += (1.0 - run.readingShare) * static_cast<double>(run.pointsWritten) /
                    static_cast<double>(run.totalPoints);
    fraction = std::max(std::min(fraction, 1.0), run.lastFraction);
    run.lastFraction = fraction;
    if (!run.options.progressHook(fraction, run.options.progressContext)) {
        error = "operation cancelled";
        return false;
    }
    return true;
}

}  // namespace ovcf
