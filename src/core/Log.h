// The module's one process-wide log: a ring of recent lines, standard error, the log file and
// the host's sink. Lines are Italian; build a message only when logLevelThreshold() allows it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

enum LogLevel : int { LogTrace = 0, LogDebug = 1, LogInfo = 2, LogWarn = 3, LogError = 4 };

using LogSink = void (*)(int level, const char* message, void* userData);

// printf-style; the only way the module writes a line. Safe from any thread.
#if defined(__MINGW32__)
#define OVCF_PRINTF_FORMAT(f, a) __attribute__((format(gnu_printf, f, a)))  // C99 stdio is used there too
#elif defined(__GNUC__)
#define OVCF_PRINTF_FORMAT(f, a) __attribute__((format(printf, f, a)))
#else
#define OVCF_PRINTF_FORMAT(f, a)
#endif
void logLine(int level, const char* format, ...) OVCF_PRINTF_FORMAT(2, 3);

// The smaller of the output and ring thresholds: a caller builds an INFO line only when this is
// below 3, a TRACE line only when it is 0.
int logLevelThreshold();

// Installs (or, with a null function, removes) the host sink, under the log lock.
void setLogSink(LogSink sink, void* userData);
// Opens (truncating) the log file; an empty path closes it and succeeds.
bool openLogFile(const char* utf8Path);
void setStandardErrorEcho(bool enabled);
// Copies the recent lines, oldest first, each ended by CR LF, zero-terminated; returns the
// bytes written before the zero.
std::size_t copyRecentLines(char* buffer, std::size_t capacity);

// An ERROR line from a crash handler: no allocation, no stdio, and no waiting for the log lock.
// The line always enters the ring; it reaches the file and the host sink only when the lock is
// free, since the faulting thread may hold it.
void logFatalLine(const char* message);

// The five-character level name printed in lines ("INFO " with its blank).
const char* logLevelName(int level);

// Ring geometry, public for the crash report and the tests.
constexpr int kLogRingSlots = 96;
constexpr int kLogRingSlotBytes = 220;

}  // namespace ovcf
