#include "core/Log.h"

#include <atomic>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <vector>

#include "core/FixedText.h"
#include "platform/SystemLogFile.h"

namespace ovcf {
namespace {

constexpr int kOutputThreshold = LogInfo;
constexpr int kRingThreshold = LogInfo;
constexpr std::size_t kStackFormatBytes = 1024;

struct LogState {
    std::mutex lock;
    bool echo = true;
    std::FILE* file = nullptr;
    LogSink sink = nullptr;
    void* sinkUserData = nullptr;
};

LogState& state() {
    static LogState instance;
    return instance;
}

// The ring is plain static storage: the crash report reads it without allocating.
char gRing[kLogRingSlots][kLogRingSlotBytes];
std::atomic<std::uint32_t> gRingCounter{0};

double secondsSinceFirstLine() {
    using Clock = std::chrono::steady_clock;
    static const Clock::time_point start = Clock::now();  // thread-safe, taken by the first line
    return std::chrono::duration<double>(Clock::now() - start).count();
}

}  // namespace

const char* logLevelName(int level) {
    switch (level) {
        case LogTrace: return "TRACE";
        case LogDebug: return "DEBUG";
        case LogInfo: return "INFO ";
        case LogWarn: return "WARN ";
        case LogError: return "ERROR";
        default: return "?????";
    }
}

int logLevelThreshold() { return kOutputThreshold < kRingThreshold ? kOutputThreshold : kRingThreshold; }

void logLine(int level, const char* format, ...) {
    if (level < kOutputThreshold && level < kRingThreshold) return;

    char stackBuffer[kStackFormatBytes];
    std::vector<char> heapBuffer;
    const char* message = stackBuffer;
    va_list args;
    va_start(args, format);
    va_list retry;
    va_copy(retry, args);
    const int length = std::vsnprintf(stackBuffer, sizeof stackBuffer, format, args);
    va_end(args);
    if (length < 0) {
        message = "<messaggio di log non formattabile>";
    } else if (static_cast<std::size_t>(length) >= kStackFormatBytes) {
        heapBuffer.resize(static_cast<std::size_t>(length) + 1);
        if (std::vsnprintf(heapBuffer.data(), heapBuffer.size(), format, retry) < 0)
            message = "<messaggio di log non formattabile>";
        else
            message = heapBuffer.data();
    }
    va_end(retry);

    const double t = secondsSinceFirstLine();
    const char* name = logLevelName(level);

    if (level >= kRingThreshold) {
        const std::uint32_t slot = gRingCounter.fetch_add(1, std::memory_order_relaxed) % kLogRingSlots;
        // The ring keeps the head of long lines only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-truncation"
        std::snprintf(gRing[slot], kLogRingSlotBytes, "[%8.3f] %s %s", t, name, message);
#pragma GCC diagnostic pop
    }

    if (level >= kOutputThreshold) {
        LogState& s = state();
        std::lock_guard<std::mutex> guard(s.lock);
        if (s.echo) {
            std::fprintf(stderr, "[%8.3f] %s %s\n", t, name, message);
            std::fflush(stderr);
        }
        if (s.file) {
            std::fprintf(s.file, "[%8.3f] %s %s\n", t, name, message);
            std::fflush(s.file);
        }
        if (s.sink) s.sink(level, message, s.sinkUserData);
    }
}

void setLogSink(LogSink sink, void* userData) {
    LogState& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.sink = sink;
    s.sinkUserData = sink ? userData : nullptr;
}

bool openLogFile(const char* utf8Path) {
    LogState& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    if (s.file) {
        std::fclose(s.file);
        s.file = nullptr;
    }
    if (!utf8Path || !*utf8Path) return true;
    s.file = openLogFileForWriting(utf8Path);
    return s.file != nullptr;
}

void setStandardErrorEcho(bool enabled) {
    LogState& s = state();
    std::lock_guard<std::mutex> guard(s.lock);
    s.echo = enabled;
}

void logFatalLine(const char* message) {
    char head[32];
    FixedText prefix(head, sizeof head);
    prefix.append("[");
    prefix.appendFixed(secondsSinceFirstLine(), 8, 3);
    prefix.append("] ");
    prefix.append(logLevelName(LogError));
    prefix.append(" ");

    const std::uint32_t slot = gRingCounter.fetch_add(1, std::memory_order_relaxed) % kLogRingSlots;
    FixedText ring(gRing[slot], kLogRingSlotBytes);
    ring.append(prefix.text());
    ring.append(message);

    // The faulting thread may hold the lock: then the ring is all this line reaches.
    LogState& s = state();
    std::unique_lock<std::mutex> guard(s.lock, std::try_to_lock);
    if (!guard.owns_lock()) return;
    std::size_t length = 0;
    while (message[length]) ++length;
    for (std::FILE* stream : {s.echo ? stderr : nullptr, s.file}) {
        if (!stream) continue;
        writeLogFileDirect(stream, prefix.text(), prefix.size());
        writeLogFileDirect(stream, message, length);
        writeLogFileDirect(stream, "\n", 1);
    }
    if (s.sink) s.sink(LogError, message, s.sinkUserData);
}

std::size_t copyRecentLines(char* buffer, std::size_t capacity) {
    if (!buffer || capacity == 0) return 0;
    const std::uint32_t counter = gRingCounter.load(std::memory_order_relaxed);
    const std::uint32_t n = counter < kLogRingSlots ? counter : kLogRingSlots;
    std::size_t written = 0;
    for (std::uint32_t i = 0; i < n; ++i) {
        const char* slot = gRing[(counter - n + i) % kLogRingSlots];
        std::size_t length = 0;
        while (length < kLogRingSlotBytes && slot[length] != '\0') ++length;
        if (length == 0) continue;
        if (written + length + 2 >= capacity) break;
        std::memcpy(buffer + written, slot, length);
        written += length;
        buffer[written++] = '\r';
        buffer[written++] = '\n';
    }
    buffer[written] = '\0';
    return written;
}

}  // namespace ovcf
