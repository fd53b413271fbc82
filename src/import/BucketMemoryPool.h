// The RAM that all buckets of one import may hold together, counted in points. A bucket asks for
// room before it grows in memory and spills to disk when the pool says no, so that many buckets
// below their own limit still stay within the indexer's budget together.
#pragma once

#include <cstdint>

namespace ovcf {

class BucketMemoryPool {
public:
    explicit BucketMemoryPool(std::uint64_t capacityPoints) : capacity_(capacityPoints) {}

    // Takes room for `points` when it is there; false (and nothing taken) otherwise.
    bool tryTake(std::uint64_t points) {
        if (points > capacity_ - inUse_) return false;
        inUse_ += points;
        return true;
    }
    void giveBack(std::uint64_t points) { inUse_ -= points < inUse_ ? points : inUse_; }

    std::uint64_t capacity() const { return capacity_; }
    std::uint64_t inUse() const { return inUse_; }

private:
    std::uint64_t capacity_;
    std::uint64_t inUse_ = 0;
};

}  // namespace ovcf
