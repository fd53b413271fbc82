#include "import/ImportPreparation.h"

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "platform/SystemInfo.h"

namespace ovcf {

void logImportSetup(const PointSource& source, const std::string& temporaryFolder) {
    if (logLevelThreshold() > LogInfo) return;
    logLine(LogInfo, "cartella temporanea: %s", temporaryFolder.c_str());
    logLine(LogInfo, "sorgente: %s", source.description().c_str());
    const auto step = source.step();
    const auto offset = source.offset();
    logLine(LogInfo, "quantizzazione: scale (%.9g, %.9g, %.9g)  offset (%.3f, %.3f, %.3f)", step[0], step[1], step[2],
            offset[0], offset[1], offset[2]);
}

void warnAboutDiskSpace(const std::string& temporaryFolder, std::uint64_t pointCount) {
    std::uint64_t freeBytes = 0;
    if (!freeDiskSpace(temporaryFolder, freeBytes)) return;
    const std::uint64_t needed = pointCount * 36;  // two 18-byte copies of every point
    if (freeBytes >= needed || logLevelThreshold() > LogWarn) return;
    logLine(LogWarn,
            "spazio su disco: servono circa %s per i file temporanei ma ce ne sono %s liberi su '%s'. Usa --temp-dir per indicare un altro disco.",
            formatSize(needed).c_str(), formatSize(freeBytes).c_str(), temporaryFolder.c_str());
}

void logRamBudget(std::uint64_t ramBudget, std::uint64_t bucketLimitPoints) {
    if (logLevelThreshold() > LogInfo) return;
    std::uint64_t available = 0;
    const std::string availableText = availablePhysicalMemory(available) ? formatSize(available) : "?";
    logLine(LogInfo, "budget RAM dell'indicizzatore: %s (%s liberi sulla macchina) - fino a %s punti per nodo restano in memoria",
            formatSize(ramBudget).c_str(), availableText.c_str(), formatCount(bucketLimitPoints).c_str());
}

}  // namespace ovcf
