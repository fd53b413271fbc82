// A point bitmap kept as its runs of non-zero words: an undo record costs what was selected, not
// the whole cloud (a full copy of a 300-million-point map is 37,5 MB).
#pragma once

#include <cstdint>
#include <vector>

#include "selection/PointBitmap.h"

namespace ovcf {

class BitmapRuns {
public:
    explicit BitmapRuns(const PointBitmap& bitmap);

    std::uint64_t count() const { return count_; }
    // target |= this; returns the bits newly set.
    std::uint64_t orInto(PointBitmap& target) const;
    // target &= ~this; returns the bits cleared.
    std::uint64_t clearFrom(PointBitmap& target) const;
    std::size_t storedWords() const { return words_.size(); }

private:
    struct Run {
        std::size_t firstWord;
        std::size_t length;
    };
    std::vector<Run> runs_;
    std::vector<std::uint64_t> words_;  // the runs' words, one after the other
    std::uint64_t count_ = 0;
};

}  // namespace ovcf
