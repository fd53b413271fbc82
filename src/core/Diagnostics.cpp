#include "core/Diagnostics.h"

#include <mutex>

#include "core/CrashReport.h"
#include "core/FixedText.h"
#include "core/Log.h"
#include "platform/CrashHandlers.h"
#include "platform/SystemFile.h"
#include "platform/SystemInfo.h"

namespace ovcf {
namespace {

// Read by the crash handler without a lock: plain arrays, filled before the handlers exist and
// rewritten only by a later initialisation.
struct DiagnosticsSettings {
    char folder[kCrashPathBytes] = {};
    char programName[kCrashPathBytes] = {};
    char dumpLibrary[64] = "dbghelp.dll";
    bool fullMemoryDump = false;
    char separator = '/';
};

DiagnosticsSettings gSettings;
std::mutex gSetupLock;

void copyInto(char* target, std::size_t capacity, const char* text) {
    FixedText out(target, capacity);
    out.append(text);
}

void crashFilePath(char* target, const char* stamp, bool dump) {
    FixedText out(target, kCrashPathBytes);
    const DiagnosticsSettings& s = gSettings;
    if (s.separator == '\\')
        out.appendFormat(dump ? "%s\\%s_%s.dmp" : "%s\\%s_%s.txt", s.folder, kDiagnosticsFilePrefix, stamp);
    else
        out.appendFormat(dump ? "%s/%s_%s.dmp" : "%s/%s_%s.txt", s.folder, kDiagnosticsFilePrefix, stamp);
}

void writeReport(const CrashFacts& facts, const char* reportPath, const char* dumpPath) {
    static char report[kCrashReportBytes];
    FixedText text(report, sizeof report);
    buildCrashReport(text, facts, gSettings.programName, kVersionLine, dumpPath);
    writeCrashFile(reportPath, text.text(), text.size());
}

// The writer the platform's handlers call for the first fatal error. Static buffers: nothing
// else may be reporting at the same time.
void writeCrashReportFiles(const CrashFacts& facts) {
    static char stamp[kCrashStampBytes];
    static char dumpPath[kCrashPathBytes];
    static char reportPath[kCrashPathBytes];
    static char line[kCrashPathBytes + 128];

    FixedText stampText(stamp, sizeof stamp);
    formatCrashStamp(stampText, facts.time);
    crashFilePath(dumpPath, stamp, true);
    crashFilePath(reportPath, stamp, false);

    // The report goes out once before the dump, saying there is none: a dump that hangs or
    // outlasts the faulting thread's wait (Wine's dbghelp can take 25 s) must not cost the
    // report. A dump written rewrites it with the dump's path.
    writeReport(facts, reportPath, nullptr);
    if (writeCrashDump(dumpPath, facts, gSettings.fullMemoryDump, gSettings.dumpLibrary))
        writeReport(facts, reportPath, dumpPath);

    FixedText message(line, sizeof line);
    message.appendFormat("ERRORE FATALE (%s). Rapporto in '%s'", facts.cause, reportPath);
    logFatalLine(message.text());
}

std::string trimSeparators(std::string path) {
    while (path.size() > 1 && (path.back() == '/' || path.back() == '\\')) path.pop_back();
    return path;
}

}  // namespace

std::string diagnosticsFolderFor(const std::string& localAppData, const std::string& temporaryFolder,
                                 char separator) {
    if (localAppData.empty()) return temporaryFolder;
    return trimSeparators(localAppData) + (separator == '\\' ? "\\OrvaneN" : "/OrvaneN");
}

void initializeDiagnostics(const char* programName) {
    std::lock_guard<std::mutex> guard(gSetupLock);
    const char separator = pathSeparator();
    std::string folder = diagnosticsFolderFor(environmentVariable("LOCALAPPDATA"), systemTemporaryFolder(), separator);
    std::string reason;
    // A folder that cannot be made leaves the reports in the temporary folder rather than nowhere.
    if (createFolder(folder, reason) == FolderCreation::Failed) folder = systemTemporaryFolder();

    const std::string prefix = kDiagnosticsFilePrefix;
    const std::string logPath = folder + separator + prefix + ".log";
    const std::string previousPath = folder + separator + prefix + "_precedente.log";
    openLogFile("");  // a log of an earlier call in this process is closed before it moves
    // A missing log (the first run) or one held by another process simply is not kept.
    SystemFile::replaceFile(logPath, previousPath, reason);
    // Without a log file the lines stay on standard error, where they are still seen.
    if (openLogFile(logPath.c_str())) setStandardErrorEcho(false);

    copyInto(gSettings.folder, sizeof gSettings.folder, folder.c_str());
    copyInto(gSettings.programName, sizeof gSettings.programName,
             programName && *programName ? programName : "OrvanePC");
    gSettings.separator = separator;
    installCrashHandlers(&writeCrashReportFiles);
    logLine(LogInfo, "diagnostica attiva: rapporti di errore in '%s'", folder.c_str());
}

void setFullMemoryDump(bool fullMemory) { gSettings.fullMemoryDump = fullMemory; }

void setCrashDumpLibrary(const char* library) {
    copyInto(gSettings.dumpLibrary, sizeof gSettings.dumpLibrary, library ? library : "");
}

std::string diagnosticsFolder() {
    std::lock_guard<std::mutex> guard(gSetupLock);
    return gSettings.folder;
}

}  // namespace ovcf
