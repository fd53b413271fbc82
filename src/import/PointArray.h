// The indexer's large point arrays (bucket contents, a node's points while it is split). Blocks
// of 2 MiB and more come as whole pages from the system (huge pages on Linux where allowed):
// filling a fresh array of hundreds of megabytes otherwise costs a page fault every 4 KiB, and
// those faults weigh more than the copying itself. Smaller ones come from the ordinary heap.
#pragma once

#include <cstddef>
#include <new>
#include <vector>

#include "ovcf/PointRecord.h"
#include "platform/LargeBlock.h"

namespace ovcf {

constexpr std::size_t kLargeArrayBytes = std::size_t{1} << 21;

template <typename T>
struct LargeArrayAllocator {
    using value_type = T;

    LargeArrayAllocator() = default;
    template <typename U>
    LargeArrayAllocator(const LargeArrayAllocator<U>&) {}

    T* allocate(std::size_t n) {
        const std::size_t bytes = n * sizeof(T);
        if (bytes < kLargeArrayBytes) return static_cast<T*>(::operator new(bytes));
        void* block = allocateLargeBlock(bytes);
        if (!block) throw std::bad_alloc();
        return static_cast<T*>(block);
    }
    void deallocate(T* p, std::size_t n) {
        const std::size_t bytes = n * sizeof(T);
        if (bytes < kLargeArrayBytes) ::operator delete(p);
        else freeLargeBlock(p, bytes);
    }

    template <typename U>
    bool operator==(const LargeArrayAllocator<U>&) const { return true; }
};

using PointArray = std::vector<PointRecord, LargeArrayAllocator<PointRecord>>;

// Uninitialised scratch memory that keeps its largest size, so that a run splitting node after
// node faults its pages in once.
class ScratchBlock {
public:
    ScratchBlock() = default;
    ~ScratchBlock() { release(); }
    ScratchBlock(const ScratchBlock&) = delete;
    ScratchBlock& operator=(const ScratchBlock&) = delete;

    // At least `bytes`; the contents are not kept when it grows.
    void* reserve(std::size_t bytes) {
        if (bytes <= bytes_) return data_;
        release();
        data_ = allocateLargeBlock(bytes);
        if (!data_) throw std::bad_alloc();
        bytes_ = bytes;
        return data_;
    }
    void release() {
        freeLargeBlock(data_, bytes_);
        data_ = nullptr;
        bytes_ = 0;
    }

private:
    void* data_ = nullptr;
    std::size_t bytes_ = 0;
};

}  // namespace ovcf
