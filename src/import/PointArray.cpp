#include "import/PointArray.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/LargeBlock.h"

namespace ovcf {

namespace {

constexpr std::size_t kLargeArrayBytes = std::size_t{1} << 21;

bool isLarge(std::size_t bytes) { return bytes >= kLargeArrayBytes; }

// `block` of `oldBytes` (null when 0) as a block of `newBytes`, contents kept up to the smaller.
void* resizeBlock(void* block, std::size_t oldBytes, std::size_t newBytes) {
    if (newBytes == 0) {
        if (isLarge(oldBytes)) freeLargeBlock(block, oldBytes);
        else std::free(block);
        return nullptr;
    }
    void* resized = nullptr;
    if (isLarge(oldBytes) && isLarge(newBytes)) {
        resized = resizeLargeBlock(block, oldBytes, newBytes);
    } else if (!isLarge(oldBytes) && !isLarge(newBytes)) {
        resized = std::realloc(block, newBytes);
    } else {
        resized = isLarge(newBytes) ? allocateLargeBlock(newBytes) : std::malloc(newBytes);
        if (resized) {
            if (oldBytes > 0) std::memcpy(resized, block, std::min(oldBytes, newBytes));
            if (isLarge(oldBytes)) freeLargeBlock(block, oldBytes);
            else std::free(block);
        }
    }
    if (!resized) throw std::bad_alloc();
    return resized;
}

}  // namespace

void PointArray::reserve(std::size_t points) {
    if (points <= capacity_) return;
    data_ = static_cast<PointRecord*>(
        resizeBlock(data_, capacity_ * sizeof(PointRecord), points * sizeof(PointRecord)));
    capacity_ = points;
}

void PointArray::append(const PointRecord* points, std::size_t count) {
    if (count == 0) return;
    if (size_ + count > capacity_) reserve(std::max(size_ + count, 2 * capacity_));
    std::memcpy(static_cast<void*>(data_ + size_), points, count * sizeof(PointRecord));
    size_ += count;
}

void PointArray::resize(std::size_t points) {
    reserve(points);
    if (points > size_) std::memset(static_cast<void*>(data_ + size_), 0, (points - size_) * sizeof(PointRecord));
    size_ = points;
}

void PointArray::release() {
    resizeBlock(data_, capacity_ * sizeof(PointRecord), 0);
    data_ = nullptr;
    size_ = 0;
    capacity_ = 0;
}

void PointArray::swap(PointArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
}

void* ScratchBlock::reserve(std::size_t bytes) {
    if (bytes <= bytes_) return data_;
    release();
    data_ = allocateLargeBlock(bytes);
    if (!data_) throw std::bad_alloc();
    bytes_ = bytes;
    return data_;
}

void ScratchBlock::release() {
    freeLargeBlock(data_, bytes_);
    data_ = nullptr;
    bytes_ = 0;
}

}  // namespace ovcf
