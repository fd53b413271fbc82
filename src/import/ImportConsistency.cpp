#include "import/ImportConsistency.h"

#include "core/NumberFormat.h"

namespace ovcf {

bool checkImportConsistency(const ImportStats& stats, std::string& error) {
    if (stats.pointsWritten != stats.pointsRead) {
        error = "internal error: " + formatCount(stats.pointsRead) + " points were read but " +
                formatCount(stats.pointsWritten);
        return false;
    }
    if (stats.signatureOut != stats.signatureIn) {
        error = "internal error: the set of written points does not match the set that was read";
        return false;
    }
    return true;
}

}  // namespace ovcf
