// Small helpers the point codecs predict with: a running median of five, the tables that fold
// a point's return number and count of returns into a few contexts, models made on first use,
// and integer arithmetic that wraps as the format's does.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>

#include "import/laz/ArithmeticModel.h"

namespace ovcf::laz {

// Minimum and maximum through masks: the compiler made branches of std::min and std::max here,
// on comparisons as random as the data.
inline std::int32_t least(std::int32_t a, std::int32_t b) {
    const std::uint32_t mask = 0u - static_cast<std::uint32_t>(a < b);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(b) ^ ((static_cast<std::uint32_t>(a) ^ static_cast<std::uint32_t>(b)) & mask));
}
inline std::int32_t most(std::int32_t a, std::int32_t b) {
    const std::uint32_t mask = 0u - static_cast<std::uint32_t>(a > b);
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(b) ^ ((static_cast<std::uint32_t>(a) ^ static_cast<std::uint32_t>(b)) & mask));
}

// The median of roughly the last five values, kept sorted and updated in O(1): the newest value
// replaces the largest or the smallest, by turns that depend on where values land. Written
// without branches: where a value lands is as random as the data.
class StreamingMedian5 {
public:
    std::int32_t get() const { return v_[2]; }
    void add(std::int32_t x) {
        // The four kept, in order: all but the largest while high, all but the smallest after.
        const std::int32_t* kept = v_ + (high_ ? 0 : 1);
        const std::int32_t a0 = kept[0], a1 = kept[1], a2 = kept[2], a3 = kept[3];
        const bool below = (x < v_[2]) | (!high_ & (x == v_[2]));
        v_[0] = least(a0, x);
        v_[1] = least(a1, most(a0, x));
        v_[2] = least(a2, most(a1, x));
        v_[3] = least(a3, most(a2, x));
        v_[4] = most(a3, x);
        high_ = below;
    }

private:
    std::int32_t v_[5] = {0, 0, 0, 0, 0};
    bool high_ = true;
};

// Point formats 0 to 5: return number r and number of returns n (3 bits each).
inline constexpr std::uint8_t kReturnMap[8][8] = {
    {15, 14, 13, 12, 11, 10, 9, 8}, {14, 0, 1, 3, 6, 10, 10, 9},     {13, 1, 2, 4, 7, 11, 11, 10},
    {12, 3, 4, 5, 8, 12, 12, 11},   {11, 6, 7, 8, 9, 13, 13, 12},    {10, 10, 11, 12, 13, 14, 14, 13},
    {9, 10, 11, 12, 13, 14, 15, 14}, {8, 9, 10, 11, 12, 13, 14, 15}};
inline constexpr std::uint8_t kReturnLevel[8][8] = {
    {0, 1, 2, 3, 4, 5, 6, 7}, {1, 0, 1, 2, 3, 4, 5, 6}, {2, 1, 0, 1, 2, 3, 4, 5}, {3, 2, 1, 0, 1, 2, 3, 4},
    {4, 3, 2, 1, 0, 1, 2, 3}, {5, 4, 3, 2, 1, 0, 1, 2}, {6, 5, 4, 3, 2, 1, 0, 1}, {7, 6, 5, 4, 3, 2, 1, 0}};

// Point formats 6 to 10: 4-bit return fields, folded into 6 and 8 contexts.
inline constexpr std::uint8_t kReturnMap6[16][16] = {
    {0, 1, 2, 3, 4, 5, 3, 4, 4, 5, 5, 5, 5, 5, 5, 5}, {1, 0, 1, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3, 3},
    {2, 1, 2, 4, 4, 4, 4, 4, 4, 4, 4, 3, 3, 3, 3, 3}, {3, 3, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
    {4, 3, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4}, {5, 3, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4},
    {3, 3, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4, 4}, {4, 3, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4, 4},
    {4, 3, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4, 4}, {5, 3, 4, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4, 4},
    {5, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 4, 4, 4, 4, 4}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 4, 4, 4},
    {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 4, 4}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5, 4},
    {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5, 5}, {5, 3, 3, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 5, 5}};
inline constexpr std::uint8_t kReturnLevel8[16][16] = {
    {0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7, 7, 7, 7, 7}, {1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7, 7, 7, 7},
    {2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7, 7, 7}, {3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7, 7},
    {4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7, 7}, {5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7, 7},
    {6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7, 7}, {7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7, 7},
    {7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6, 7}, {7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5, 6},
    {7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4, 5}, {7, 7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3, 4},
    {7, 7, 7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2, 3}, {7, 7, 7, 7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1, 2},
    {7, 7, 7, 7, 7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0, 1}, {7, 7, 7, 7, 7, 7, 7, 7, 7, 6, 5, 4, 3, 2, 1, 0}};

// Models created on first use, as most contexts of a chunk never occur.
template <std::size_t N>
class LazyModels {
public:
    explicit LazyModels(std::uint32_t symbols) : symbols_(symbols) {}
    SymbolModel& operator[](std::size_t i) {
        if (!models_[i]) models_[i] = std::make_unique<SymbolModel>(symbols_);
        return *models_[i];
    }

private:
    std::uint32_t symbols_;
    std::array<std::unique_ptr<SymbolModel>, N> models_;
};

// The k of the last corrector with its lowest bit cleared: the contexts of the next coordinate.
inline unsigned withoutLowBit(unsigned k) { return k & ~1u; }
inline std::int32_t wrapAdd(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapSub(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}
inline std::int32_t wrapMul(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}

}  // namespace ovcf::laz
