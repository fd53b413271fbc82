#include "TerminalProgress.h"

#include <cstdio>

#include "core/Log.h"

namespace ovcf::tool {

namespace {

constexpr int kBarWidth = 40;

}  // namespace

TerminalProgress::TerminalProgress(std::string label) : label_(std::move(label)) {
    setStandardErrorEcho(false);
    setLogSink(&TerminalProgress::logSink, this);
    draw();
}

TerminalProgress::~TerminalProgress() {
    setLogSink(nullptr, nullptr);
    setStandardErrorEcho(true);
    erase();
}

bool TerminalProgress::hook(double fraction, void* context) {
    static_cast<TerminalProgress*>(context)->show(fraction);
    return true;
}

void TerminalProgress::show(double fraction) {
    fraction_ = fraction < 0.0 ? 0.0 : fraction > 1.0 ? 1.0 : fraction;
    const int permille = static_cast<int>(fraction_ * 1000.0);
    if (permille == shownPermille_) return;
    shownPermille_ = permille;
    draw();
}

void TerminalProgress::draw() {
    char bar[kBarWidth + 1];
    const int filled = static_cast<int>(fraction_ * kBarWidth);
    for (int i = 0; i < kBarWidth; ++i) bar[i] = i < filled ? '#' : '.';
    bar[kBarWidth] = '\0';
    std::fprintf(stderr, "\r%s [%s] %5.1f%%", label_.c_str(), bar, fraction_ * 100.0);
    std::fflush(stderr);
}

void TerminalProgress::erase() {
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(label_.size()) + kBarWidth + 12, "");
    std::fflush(stderr);
}

// Runs under the log lock: prints the line where the bar was, then the bar again below it.
void TerminalProgress::logSink(int level, const char* message, void* context) {
    auto* self = static_cast<TerminalProgress*>(context);
    self->erase();
    std::fprintf(stderr, "%s%s\n", level >= LogWarn ? (level >= LogError ? "ERRORE: " : "ATTENZIONE: ") : "", message);
    self->draw();
}

}  // namespace ovcf::tool
