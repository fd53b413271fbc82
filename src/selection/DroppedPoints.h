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
        std::uint64_t* word = wordOf(words_, firstWord_, global);
        if (!word) return;
        std::atomic_ref<std::uint64_t>(*word).fetch_or(std::uint64_t{1} << (global & 63), std::memory_order_relaxed);
        // Written once only: a flag every thread wrote at every mark would bounce between caches.
        if (!marked_.load(std::memory_order_relaxed)) marked_.store(true, std::memory_order_relaxed);
    }

    // The same for a map only one thread marks.
    void markUnshared(std::uint64_t global) {
        std::uint64_t* word = wordOf(words_, firstWord_, global);
        if (!word) return;
        *word |= std::uint64_t{1} << (global & 63);
        marked_.store(true, std::memory_order_relaxed);
    }

    // One thread's marks, kept apart while the threads run and added to the map after the join:
    // an atomic mark at a random place of a shared map is a locked access that no other memory
    // access may overlap, several times slower than a plain one.
    class ThreadMarks {
    public:
        explicit ThreadMarks(const DroppedPoints& map) : firstWord_(map.firstWord_), words_(map.words_.size(), 0) {}
        void mark(std::uint64_t global) {
            if (std::uint64_t* word = wordOf(words_, firstWord_, global)) *word |= std::uint64_t{1} << (global & 63);
        }

    private:
        friend class DroppedPoints;
        std::uint64_t firstWord_;
        CellSlots<std::uint64_t> words_;
    };
    // Whether `threads` maps of their own fit in a modest amount of memory (64 MiB in all).
    bool threadMarksFit(unsigned threads) const { return threads * words_.size() * sizeof(std::uint64_t) <= (std::size_t{64} << 20); }
    // After the join.
    void absorb(const ThreadMarks& marks) {
        std::uint64_t any = 0;
        for (std::size_t w = 0; w < words_.size(); ++w) {
            words_[w] |= marks.words_[w];
            any |= marks.words_[w];
        }
        if (any) marked_.store(true, std::memory_order_relaxed);
    }

    // The marks of global word w; 0 outside the span. Only once the marking threads have joined.
    std::uint64_t word(std::uint64_t w) const {
        return w >= firstWord_ && w - firstWord_ < words_.size() ? words_[static_cast<std::size_t>(w - firstWord_)] : 0;
    }
    bool any() const { return marked_.load(std::memory_order_relaxed); }

private:
    // The word of a map holding the point's bit; null outside the map's span.
    static std::uint64_t* wordOf(CellSlots<std::uint64_t>& words, std::uint64_t firstWord, std::uint64_t global) {
        const std::uint64_t w = global >> 6;
        return w >= firstWord && w - firstWord < words.size() ? &words[static_cast<std::size_t>(w - firstWord)] : nullptr;
    }

    std::uint64_t firstWord_ = 0;
    CellSlots<std::uint64_t> words_;
    std::atomic<bool> marked_{false};
};

}  // namespace ovcf
