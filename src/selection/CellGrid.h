// What the filters' cell grids share: integer cells over the file's quantised coordinates, the
// hash of a cell, and the size rule of their open-addressing tables (linear probing, power-of-two
// capacity, load at most 0.6).
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "platform/LargeBlock.h"

namespace ovcf {

// Upper bounds of a cell edge in quantised units.
constexpr std::int64_t kSpacingEdgeMax = 2147483000;
constexpr std::int64_t kIsolatedEdgeMax = 1073741000;

// A length in metres as a cell edge in units of `step`: floor(length / step + 0.5), at least 1,
// at most `upper`. A step that is not above 0 gives 1.
inline std::int64_t cellEdge(double length, double step, std::int64_t upper) {
    if (!(step > 0.0)) return 1;
    const double units = std::floor(length / step + 0.5);
    if (!(units >= 1.0)) return 1;
    if (units >= static_cast<double>(upper)) return upper;
    return static_cast<std::int64_t>(units);
}

inline std::uint64_t cellHash(std::int32_t x, std::int32_t y, std::int32_t z) {
    std::uint64_t h = static_cast<std::uint64_t>(static_cast<std::int64_t>(x)) * 0x9E3779B185EBCA87ull ^
                      static_cast<std::uint64_t>(static_cast<std::int64_t>(y)) * 0xC2B2AE3D27D4EB4Full ^
                      static_cast<std::uint64_t>(static_cast<std::int64_t>(z)) * 0x165667B19E3779F9ull;
    h = (h ^ (h >> 29)) * 0xBF58476D1CE4E5B9ull;
    return h ^ (h >> 32);
}

// The capacity a table takes to hold n entries: 64 while 10n <= 384, else 2p with p the smallest
// power of two from 64 with 12p >= 10n.
inline std::size_t cellTableCapacity(std::size_t n) {
    if (10 * n <= 384) return 64;
    std::size_t p = 64;
    while (12 * p < 10 * n) p *= 2;
    return 2 * p;
}

// Whether a table of `capacity` slots must grow before it takes its entry number `entries`.
inline bool cellTableFull(std::size_t entries, std::size_t capacity) { return entries * 10 > capacity * 6; }

// floor(q / n) for n >= 1, by a multiplication and one correction instead of a division.
class FloorDivider {
public:
    explicit FloorDivider(std::int64_t n = 1) : n_(n), inverse_(1.0 / static_cast<double>(n)) {}
    std::int64_t divisor() const { return n_; }
    std::int32_t operator()(std::int32_t q) const {
        std::int64_t c = static_cast<std::int64_t>(static_cast<double>(q) * inverse_);
        const std::int64_t rest = q - c * n_;
        if (rest < 0) --c;
        else if (rest >= n_) ++c;
        return static_cast<std::int32_t>(c);
    }

private:
    std::int64_t n_;
    double inverse_;
};

// Warms the cache line a table slot lives in, ahead of the probe.
template <class T>
inline void prefetchSlot(const T* slot) {
#if defined(__GNUC__)
    __builtin_prefetch(slot, 1);
#else
    (void)slot;
#endif
}

// The slots of a cell table, all set to the empty cell. Large tables take their memory from the
// system in whole pages (huge pages where there are), which pays off for tables probed at random.
template <class Cell>
class CellSlots {
public:
    CellSlots() = default;
    CellSlots(std::size_t count, const Cell& empty) : count_(count) {
        const std::size_t bytes = count * sizeof(Cell);
        if (bytes >= kLargeBytes) {
            cells_ = static_cast<Cell*>(allocateLargeBlock(bytes));
            if (!cells_) throw std::bad_alloc();
            if (!allZero(empty)) std::fill(cells_, cells_ + count, empty);
        } else {
            cells_ = static_cast<Cell*>(::operator new(bytes));
            std::fill(cells_, cells_ + count, empty);
        }
    }
    CellSlots(const CellSlots& other) : CellSlots(other.count_, Cell{}) { std::copy(other.begin(), other.end(), cells_); }
    CellSlots(CellSlots&& other) noexcept { swap(other); }
    CellSlots& operator=(CellSlots other) noexcept {
        swap(other);
        return *this;
    }
    ~CellSlots() {
        if (!cells_) return;
        if (count_ * sizeof(Cell) >= kLargeBytes) freeLargeBlock(cells_, count_ * sizeof(Cell));
        else ::operator delete(cells_);
    }
    void swap(CellSlots& other) noexcept {
        std::swap(cells_, other.cells_);
        std::swap(count_, other.count_);
    }

    Cell& operator[](std::size_t i) { return cells_[i]; }
    const Cell& operator[](std::size_t i) const { return cells_[i]; }
    std::size_t size() const { return count_; }
    Cell* begin() { return cells_; }
    Cell* end() { return cells_ + count_; }
    const Cell* begin() const { return cells_; }
    const Cell* end() const { return cells_ + count_; }
    const Cell* data() const { return cells_; }

private:
    static constexpr std::size_t kLargeBytes = std::size_t{1} << 20;
    static bool allZero(const Cell& cell) {
        unsigned char bytes[sizeof(Cell)];
        std::memcpy(bytes, &cell, sizeof(Cell));
        return std::all_of(bytes, bytes + sizeof(Cell), [](unsigned char b) { return b == 0; });
    }

    Cell* cells_ = nullptr;
    std::size_t count_ = 0;
};

}  // namespace ovcf
