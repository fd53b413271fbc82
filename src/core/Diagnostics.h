// Crash diagnostics: the diagnostics folder, the log file with the previous run's log kept, and
// the process-wide handlers that write a report (and on Windows a minidump) on a fatal error.
#pragma once

#include <string>

namespace ovcf {

constexpr const char* kDiagnosticsFilePrefix = "crash_edit_nuv";
constexpr const char* kVersionLine = "OrvanePC 0.10.0 (Sep 28 2026)";

// The diagnostics folder: LOCALAPPDATA's OrvaneN when that variable is set and not empty, else
// the temporary folder. `separator` is the platform's ('\\' or '/').
std::string diagnosticsFolderFor(const std::string& localAppData, const std::string& temporaryFolder,
                                 char separator);

// Creates the folder, keeps the previous log, opens the new one, stops the standard-error echo,
// installs the crash handlers (once per process) and logs where reports go. `programName` is
// shown in reports; null or empty gives "OrvanePC". Calling it again keeps the log so far as the
// previous one, starts a new one and updates the settings. The system's failures are not errors:
// reports then go where they can, log lines stay on standard error without a log file.
void initializeDiagnostics(const char* programName);

// Settings no export reaches: a full-memory dump instead of the compact one, and the library
// the dump function is looked up in (tests name one that does not exist).
void setFullMemoryDump(bool fullMemory);
void setCrashDumpLibrary(const char* library);

// The folder chosen by the last initializeDiagnostics(), empty before.
std::string diagnosticsFolder();

}  // namespace ovcf
