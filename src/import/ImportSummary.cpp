#include "import/ImportSummary.h"

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/FileFormat.h"

namespace ovcf {

namespace {

// The first and last ten inputs when there are more than twenty, else all.
void logInputs(const std::vector<InputPoints>& inputs) {
    constexpr std::size_t kShownAtEachEnd = 10;
    std::uint64_t total = 0;
    for (const InputPoints& input : inputs) total += input.points;
    logLine(LogInfo, "punti per file       : %s file", formatCount(inputs.size()).c_str());
    const bool cut = inputs.size() > 2 * kShownAtEachEnd;
    for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (cut && i == kShownAtEachEnd) {
            const std::size_t hidden = inputs.size() - 2 * kShownAtEachEnd;
            std::uint64_t points = 0;
            for (std::size_t j = i; j < i + hidden; ++j) points += inputs[j].points;
            logLine(LogInfo, "   %16s punti  (altri %s file)", formatCount(points).c_str(), formatCount(hidden).c_str());
            i += hidden - 1;
            continue;
        }
        logLine(LogInfo, "   %16s punti  %s", formatCount(inputs[i].points).c_str(), inputs[i].name.c_str());
    }
    logLine(LogInfo, "   %16s punti in tutto", formatCount(total).c_str());
}

}  // namespace

void logImportSummary(const ImportStats& s) {
    if (logLevelThreshold() > LogInfo) return;
    logLine(LogInfo, "--- Riepilogo import ---");
    logLine(LogInfo, "punti                : %s", formatCount(s.pointsWritten).c_str());
    if (!s.inputs.empty()) logInputs(s.inputs);
    logLine(LogInfo, "nodi                 : %s (di cui %s foglie)", formatCount(s.nodeCount).c_str(),
            formatCount(s.leafCount).c_str());
    logLine(LogInfo, "livelli LOD          : da 0 a %u", s.deepestLevel);
    logLine(LogInfo, "nodo piu' grande     : %s punti", formatCount(s.largestNode).c_str());
    logLine(LogInfo, "formato punto        : %s (%u byte)", pointFormatName(s.pointFormat),
            recordSizeForFormat(s.pointFormat));
    logLine(LogInfo, "distribuzione per livello (livello: nodi, punti, punti medi per nodo):");
    for (std::size_t level = 0; level < s.levels.size(); ++level) {
        const LevelStats& l = s.levels[level];
        const std::uint64_t mean = l.nodes > 0 ? (l.points + l.nodes / 2) / l.nodes : 0;
        logLine(LogInfo, "   %2u : %10s nodi  %16s punti  %10s medi", static_cast<unsigned>(level),
                formatCount(l.nodes).c_str(), formatCount(l.points).c_str(), formatCount(mean).c_str());
    }
    logLine(LogInfo, "dimensione file      : %s", formatSize(s.fileSize).c_str());
    const double percent = s.rawBytes > 0 ? 100.0 * static_cast<double>(s.storedBytes) / static_cast<double>(s.rawBytes) : 0.0;
    logLine(LogInfo, "compressione LZ4     : %s -> %s (%.1f%% dell'originale)", formatSize(s.rawBytes).c_str(),
            formatSize(s.storedBytes).c_str(), percent);
    logLine(LogInfo, "temporanei su disco  : %s", formatSize(s.temporaryBytes).c_str());
    logLine(LogInfo, "hash insieme punti   : %016llX (ingresso) / %016llX (uscita)",
            static_cast<unsigned long long>(s.signatureIn), static_cast<unsigned long long>(s.signatureOut));
    logLine(LogInfo, "tempo lettura        : %s", formatDuration(s.readingSeconds).c_str());
    logLine(LogInfo, "tempo indicizzazione : %s", formatDuration(s.indexingSeconds).c_str());
    const double rate = s.totalSeconds > 0 ? static_cast<double>(s.pointsWritten) / s.totalSeconds / 1e6 : 0.0;
    logLine(LogInfo, "tempo totale         : %s  (%.2f milioni di punti al secondo)",
            formatDuration(s.totalSeconds).c_str(), rate);
}

}  // namespace ovcf
