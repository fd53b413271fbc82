// One bit per point of the open cloud, in 64-bit words: bit (g mod 64) of word (g div 64) is
// point g. Bits beyond the point count stay zero and the set-bit count is kept up to date, so
// the renderer, the file and the counts all read the same words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovcf {

// Set bits of `count` words, bit-parallel, four words a step so the compiler can vectorise.
std::uint64_t countBits(const std::uint64_t* words, std::size_t count);

class PointBitmap {
public:
    // Sized to `pointCount` points, all clear.
    void reset(std::uint64_t pointCount);
    void clearAll();
    void setAll();
    void invertAll();
    // this &= ~other over the common length; returns the number of bits cleared.
    std::uint64_t andNot(const PointBitmap& other);
    // this |= other over the common length; returns the number of bits newly set.
    std::uint64_t orWith(const PointBitmap& other);
    // Set bits among points [first, min(first + n, pointCount)).
    std::uint64_t countRange(std::uint64_t first, std::uint64_t n) const;
    // Takes the file's bytes (bit i%8 of byte i/8); bits beyond the point count are dropped.
    void loadBytes(const std::uint8_t* bytes, std::size_t byteCount);
    // Takes 64-bit words as laid out here; bits beyond the point count are dropped.
    void loadWords(const std::vector<std::uint64_t>& words);

    bool test(std::uint64_t point) const { return (words_[point >> 6] >> (point & 63)) & 1u; }
    void set(std::uint64_t point);

    // Direct word access for bulk merges; call recount() afterwards. Bits beyond the point count
    // must stay clear.
    std::uint64_t* data() { return words_.data(); }
    void recount();

    std::uint64_t pointCount() const { return pointCount_; }
    std::uint64_t count() const { return count_; }
    const std::vector<std::uint64_t>& words() const { return words_; }
    bool operator==(const PointBitmap& other) const = default;

private:
    void dropBitsBeyondCount();

    std::vector<std::uint64_t> words_;
    std::uint64_t pointCount_ = 0;
    std::uint64_t count_ = 0;
};

}  // namespace ovcf
