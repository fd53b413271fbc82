#include "selection/ReaderPool.h"

#include <algorithm>
#include <chrono>

#include "core/Log.h"

namespace ovcf {

void ReaderPool::reset(const std::string& path, int wanted, OvcfReader* source) {
    readers_.clear();
    path_ = path;
    source_ = source;
    wanted_ = std::clamp(wanted, 1, kMaxReaders);
}

bool ReaderPool::open() {
    if (static_cast<int>(readers_.size()) >= wanted_) return true;
    const auto start = std::chrono::steady_clock::now();
    while (static_cast<int>(readers_.size()) < wanted_) {
        auto reader = std::make_unique<OvcfReader>();
        std::string error;
        if (path_.empty()) error = "no file open";
        const bool opened = source_ ? reader->openSame(*source_, error) : reader->open(path_, error);
        if (path_.empty() || !opened) {
            logLine(LogError, "selezione: impossibile aprire il file (%s)", error.c_str());
            return false;
        }
        readers_.push_back(std::move(reader));
    }
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    logLine(LogInfo, "selezione: %d lettori aperti in %.0f ms", wanted_, ms);
    return true;
}

}  // namespace ovcf
