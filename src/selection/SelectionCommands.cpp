// Select all, invert and clear: whole-bitmap operations, each with its log line.
#include "core/Log.h"
#include "core/NumberFormat.h"
#include "selection/SelectionEngine.h"

namespace ovcf {

void selectAllPoints(PointBitmap& selection, const PointBitmap& deleted) {
    selection.setAll();
    selection.andNot(deleted);
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "selezionati tutti i punti: %s", formatCount(selection.count()).c_str());
}

void invertSelection(PointBitmap& selection, const PointBitmap& deleted) {
    selection.invertAll();
    selection.andNot(deleted);
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "selezione invertita: %s punti selezionati", formatCount(selection.count()).c_str());
}

void clearSelection(PointBitmap& selection) {
    const std::uint64_t before = selection.count();
    selection.clearAll();
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "selezione annullata: %s punti deselezionati", formatCount(before).c_str());
}

}  // namespace ovcf
