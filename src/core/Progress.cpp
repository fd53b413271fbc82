#include "core/Progress.h"

#include <chrono>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {
namespace {

std::int64_t nowNanoseconds() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

}  // namespace

ProgressReporter::ProgressReporter(std::string name, std::uint64_t total, std::uint32_t intervalMs)
    : name_(std::move(name)), total_(total), intervalSeconds_(intervalMs / 1000.0), startNanoseconds_(nowNanoseconds()) {}

double ProgressReporter::elapsedSeconds() const { return (nowNanoseconds() - startNanoseconds_) / 1e9; }

void ProgressReporter::update(std::uint64_t done) {
    const double elapsed = elapsedSeconds();
    if (intervalSeconds_ > elapsed - lastLineSeconds_) return;
    lastLineSeconds_ = elapsed;
    emit(done, false);
}

void ProgressReporter::finish() {
    if (finished_) return;
    finished_ = true;
    emit(total_, true);
}

void ProgressReporter::emit(std::uint64_t done, bool final) {
    if (logLevelThreshold() > LogInfo) return;
    const double elapsed = elapsedSeconds();
    const double rate = elapsed > 0.0 ? static_cast<double>(done) / elapsed : 0.0;
    const char* suffix = final ? "  [fine]" : "";
    if (total_ != 0) {
        const double percent = static_cast<double>(done) * 100.0 / static_cast<double>(total_);
        logLine(LogInfo, "%s: %5.1f%%  %s / %s punti  (%.1f M punti/s)%s", name_.c_str(), percent,
                formatCount(done).c_str(), formatCount(total_).c_str(), rate / 1e6, suffix);
    } else {
        logLine(LogInfo, "%s: %s punti  (%.1f M punti/s)%s", name_.c_str(), formatCount(done).c_str(), rate / 1e6,
                suffix);
    }
}

}  // namespace ovcf
