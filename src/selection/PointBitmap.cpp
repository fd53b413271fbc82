#include "selection/PointBitmap.h"

#include <algorithm>

namespace ovcf {
namespace {

inline std::uint64_t swarCount(std::uint64_t v) {
    v = v - ((v >> 1) & 0x5555555555555555ull);
    v = (v & 0x3333333333333333ull) + ((v >> 2) & 0x3333333333333333ull);
    v = (v + (v >> 4)) & 0x0F0F0F0F0F0F0F0Full;
    return (v * 0x0101010101010101ull) >> 56;
}

}  // namespace

std::uint64_t countBits(const std::uint64_t* words, std::size_t count) {
    std::uint64_t sums[4] = {0, 0, 0, 0};
    std::size_t i = 0;
    for (; i + 4 <= count; i += 4)
        for (int k = 0; k < 4; ++k) sums[k] += swarCount(words[i + k]);
    for (; i < count; ++i) sums[0] += swarCount(words[i]);
    return sums[0] + sums[1] + sums[2] + sums[3];
}

void PointBitmap::reset(std::uint64_t pointCount) {
    pointCount_ = pointCount;
    words_.assign(static_cast<std::size_t>((pointCount + 63) / 64), 0);
    count_ = 0;
}

void PointBitmap::clearAll() {
    std::fill(words_.begin(), words_.end(), 0);
    count_ = 0;
}

void PointBitmap::setAll() {
    std::fill(words_.begin(), words_.end(), ~std::uint64_t{0});
    dropBitsBeyondCount();
    count_ = pointCount_;
}

void PointBitmap::invertAll() {
    for (std::uint64_t& word : words_) word = ~word;
    dropBitsBeyondCount();
    count_ = pointCount_ - count_;
}

std::uint64_t PointBitmap::andNot(const PointBitmap& other) {
    const std::size_t n = std::min(words_.size(), other.words_.size());
    std::uint64_t cleared = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint64_t hit = words_[i] & other.words_[i];
        if (!hit) continue;
        cleared += swarCount(hit);
        words_[i] &= ~hit;
    }
    count_ -= cleared;
    return cleared;
}

std::uint64_t PointBitmap::orWith(const PointBitmap& other) {
    const std::size_t n = std::min(words_.size(), other.words_.size());
    std::uint64_t added = 0;
    for (std::size_t i = 0; i < n; ++i) {
        std::uint64_t fresh = other.words_[i] & ~words_[i];
        // A longer bitmap may carry bits past this one's point count.
        if (i + 1 == words_.size() && pointCount_ % 64) fresh &= (std::uint64_t{1} << (pointCount_ % 64)) - 1;
        if (!fresh) continue;
        added += swarCount(fresh);
        words_[i] |= fresh;
    }
    count_ += added;
    return added;
}

std::uint64_t PointBitmap::countRange(std::uint64_t first, std::uint64_t n) const {
    if (n == 0 || first >= pointCount_) return 0;
    const std::uint64_t end = std::min(pointCount_, first + std::min(n, pointCount_ - first));
    const std::size_t firstWord = static_cast<std::size_t>(first >> 6);
    const std::size_t lastWord = static_cast<std::size_t>((end - 1) >> 6);
    const std::uint64_t headMask = ~std::uint64_t{0} << (first & 63);
    const std::uint64_t tailMask = (end & 63) ? (std::uint64_t{1} << (end & 63)) - 1 : ~std::uint64_t{0};
    if (firstWord == lastWord) return swarCount(words_[firstWord] & headMask & tailMask);
    std::uint64_t total = swarCount(words_[firstWord] & headMask) + swarCount(words_[lastWord] & tailMask);
    total += countBits(words_.data() + firstWord + 1, lastWord - firstWord - 1);
    return total;
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

void PointBitmap::recount() { count_ = countBits(words_.data(), words_.size()); }

}  // namespace ovcf
