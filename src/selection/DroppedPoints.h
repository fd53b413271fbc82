// The points a filter takes back out of a selection run's result after the join, as a bit map of
// the candidate nodes' span of global indices: a few megabytes where a list of tens of millions
// of indices would be hundreds, and marked from several threads at once.
#pragma once

#include <atomic>
#include <cstdint>

#include "selection/CellGrid.h"

namespace ovcf {

class DroppedPoints {
public:
    DroppedPoints() = default;
    // Room for the points of the global words firstWord .. endWord - 1, none marked. Large maps
    // come from the system in zeroed pages that cost nothing until touched.
    DroppedPoints(std::uint64_t firstWord, std::uint64_t endWord)
        : firstWord_(firstWord), words_(static_cast<std::size_t>(endWord > firstWord ? endWord - firstWord : 0), 0) {}

    // Safe from several threads at once; a point outside the span is ignored.
    void mark(std::uint64_t global) {
        const std::uint64_t w = (global >> 6) - firstWord_;
        if ((global >> 6) < firstWord_ || w >= words_.size()) return;
        std::atomic_ref<std::uint64_t>(words_[static_cast<std::size_t>(w)])
            .fetch_or(std::uint64_t{1} << (global & 63), std::memory_order_relaxed);
        // Written once only: a flag every thread wrote at every mark would bounce between caches.
        if (!marked_.load(std::memory_order_relaxed)) marked_.store(true, std::memory_order_relaxed);
    }

    // The marks of global word w; 0 outside the span. Only once the marking threads have joined.
    std::uint64_t word(std::uint64_t w) const {
        return w >= firstWord_ && w - firstWord_ < words_.size() ? words_[static_cast<std::size_t>(w - firstWord_)] : 0;
    }
    bool any() const { return marked_.load(std::memory_order_relaxed); }

private:
    std::uint64_t firstWord_ = 0;
    CellSlots<std::uint64_t> words_;
    std::atomic<bool> marked_{false};
};

}  // namespace ovcf
