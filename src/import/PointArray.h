// The indexer's large point arrays (bucket contents, a node's points while it is split). Arrays
// of 2 MiB and more are whole pages from the system (huge pages on Linux where allowed) and grow
// by moving their pages, not by copying them into a fresh array: on a machine where the first
// touch of a page is dear, filling hundreds of megabytes through doublings would otherwise touch
// every point's memory two or three times. Smaller arrays live on the ordinary heap.
#pragma once

#include <cstddef>

#include "ovcf/PointRecord.h"

namespace ovcf {

class PointArray {
public:
    PointArray() = default;
    ~PointArray() { release(); }
    PointArray(const PointArray&) = delete;
    PointArray& operator=(const PointArray&) = delete;
    PointArray(PointArray&& other) noexcept { swap(other); }
    PointArray& operator=(PointArray&& other) noexcept {
        swap(other);
        other.release();
        return *this;
    }

    PointRecord* data() { return data_; }
    const PointRecord* data() const { return data_; }
    std::size_t size() const { return size_; }
    std::size_t capacity() const { return capacity_; }
    bool empty() const { return size_ == 0; }
    PointRecord* begin() { return data_; }
    PointRecord* end() { return data_ + size_; }
    const PointRecord* begin() const { return data_; }
    const PointRecord* end() const { return data_ + size_; }
    PointRecord& operator[](std::size_t i) { return data_[i]; }
    const PointRecord& operator[](std::size_t i) const { return data_[i]; }

    // Room for `points` in all (never less than now); throws std::bad_alloc when refused.
    void reserve(std::size_t points);
    // Appends within the capacity, growing it (doubling) when needed.
    void append(const PointRecord* points, std::size_t count);
    // New elements are zero.
    void resize(std::size_t points);
    void clear() { size_ = 0; }
    // Frees the memory: empty, no capacity.
    void release();
    void swap(PointArray& other) noexcept;

private:
    PointRecord* data_ = nullptr;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

// Uninitialised scratch memory that keeps its largest size, so that a run splitting node after
// node touches its pages once.
class ScratchBlock {
public:
    ScratchBlock() = default;
    ~ScratchBlock() { release(); }
    ScratchBlock(const ScratchBlock&) = delete;
    ScratchBlock& operator=(const ScratchBlock&) = delete;

    // At least `bytes`; the contents are not kept when it grows.
    void* reserve(std::size_t bytes);
    void release();

private:
    void* data_ = nullptr;
    std::size_t bytes_ = 0;
};

}  // namespace ovcf
