// Anonymous mappings, advised to use huge pages from 2 MiB on (the kernel may have them switched
// to "madvise" only).
#include <sys/mman.h>

#include "platform/LargeBlock.h"

namespace ovcf {

namespace {

constexpr std::size_t kHugePage = std::size_t{1} << 21;

}  // namespace

void* allocateLargeBlock(std::size_t bytes) {
    if (bytes == 0) bytes = 1;
    void* block = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) return nullptr;
#if defined(MADV_HUGEPAGE)
    if (bytes >= kHugePage) madvise(block, bytes, MADV_HUGEPAGE);
#endif
    return block;
}

void* resizeLargeBlock(void* block, std::size_t oldBytes, std::size_t newBytes) {
    if (oldBytes == 0) oldBytes = 1;
    if (newBytes == 0) newBytes = 1;
    void* moved = mremap(block, oldBytes, newBytes, MREMAP_MAYMOVE);
    if (moved == MAP_FAILED) return nullptr;
#if defined(MADV_HUGEPAGE)
    if (newBytes >= kHugePage) madvise(moved, newBytes, MADV_HUGEPAGE);
#endif
    return moved;
}

void freeLargeBlock(void* block, std::size_t bytes) {
    if (block) munmap(block, bytes == 0 ? 1 : bytes);
}

bool largeBlockResizeCopies() { return false; }

}  // namespace ovcf
