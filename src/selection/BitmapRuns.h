// A point bitmap kept compact for an undo record, so that a record costs what was selected, not
// the whole cloud (a full copy of a 300-million-point map is 37,5 MB). Of two forms the smaller
// is kept: the runs of non-zero words (a dense selection, a block of points), or the positions
// of the set bits as gaps in variable-length bytes (points scattered over the cloud, as a
// selection at full resolution finds them in every node it crosses: 1 to 2 bytes a point).
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
    // The memory the record holds.
    std::size_t storedBytes() const;
    bool isSparse() const { return sparse_; }

private:
    struct Run {
        std::size_t firstWord;
        std::size_t length;
    };
    // Calls visit(word index, word) for every stored non-zero word.
    template <typename Visit>
    void forEachWord(Visit&& visit) const;

    bool sparse_ = false;
    std::vector<Run> runs_;
    std::vector<std::uint64_t> words_;  // the runs' words, one after the other
    std::vector<std::uint8_t> gaps_;    // sparse: gap to the next set bit, 7 bits a byte
    std::uint64_t count_ = 0;
};

}  // namespace ovcf
