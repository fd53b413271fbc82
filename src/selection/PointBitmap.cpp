#include "selection/PointBitmap.h"

#include <algorithm>
#include <bit>

namespace ovcf {

void PointBitmap::reset(std::uint64_t pointCount) {
    pointCount_ = pointCount;
    words_.assign(static_cast<std::size_t>((pointCount + 63) / 64), 0);
    count_ = 0;
}

void PointBitmap::clearAll() {
    std::fill(words_.begin(), words_.end(), 0);
    count_ = 0;
}

void PointBitmap::loadBytes(const std::uint8_t* bytes, std::size_t byteCount) {
    std::fill(words_.begin(), words_.end(), 0);
    const std::size_t usable = std::min(byteCount, words_.size() * 8);
    // Little-endian words: byte k of the file is byte k of the word array.
    for (std::size_t i = 0; i < usable; ++i) words_[i / 8] |= static_cast<std::uint64_t>(bytes[i]) << (8 * (i % 8));
    dropBitsBeyondCount();
    recount();
}

void PointBitmap::loadWords(const std::vector<std::uint64_t>& words) {
    std::fill(words_.begin(), words_.end(), 0);
    std::copy_n(words.begin(), std::min(words.size(), words_.size()), words_.begin());
    dropBitsBeyondCount();
    recount();
}

void PointBitmap::set(std::uint64_t point) {
    std::uint64_t& word = words_[point >> 6];
    const std::uint64_t bit = std::uint64_t{1} << (point & 63);
    if (!(word & bit)) {
        word |= bit;
        ++count_;
    }
}

void PointBitmap::dropBitsBeyondCount() {
    if (words_.empty() || pointCount_ % 64 == 0) return;
    words_.back() &= (std::uint64_t{1} << (pointCount_ % 64)) - 1;
}

void PointBitmap::recount() {
    count_ = 0;
    for (std::uint64_t word : words_) count_ += static_cast<std::uint64_t>(std::popcount(word));
}

}  // namespace ovcf
