// Committed pages from VirtualAlloc (zero-filled); large pages would need a privilege that a
// host application rarely holds.
#include <windows.h>

#include <cstring>

#include "platform/LargeBlock.h"

namespace ovcf {

void* allocateLargeBlock(std::size_t bytes) {
    return VirtualAlloc(nullptr, bytes == 0 ? 1 : bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
}

void* resizeLargeBlock(void* block, std::size_t oldBytes, std::size_t newBytes) {
    void* moved = allocateLargeBlock(newBytes);
    if (!moved) return nullptr;
    std::memcpy(moved, block, oldBytes < newBytes ? oldBytes : newBytes);
    freeLargeBlock(block, oldBytes);
    return moved;
}

void freeLargeBlock(void* block, std::size_t) {
    if (block) VirtualFree(block, 0, MEM_RELEASE);
}

bool largeBlockResizeCopies() { return true; }

}  // namespace ovcf
