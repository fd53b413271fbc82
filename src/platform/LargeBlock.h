// Memory for large tables that are probed at random (the selection filters' cell grids): whole
// pages from the system, on Linux backed by transparent huge pages where the system allows, which
// saves most page faults and address-translation misses. One implementation per platform
// (posix/PosixLargeBlock.cpp, win32/system/Win32LargeBlock.cpp).
#pragma once

#include <cstddef>

namespace ovcf {

// Zero-filled memory of at least `bytes`, aligned to 64 bytes; null when the system refuses.
void* allocateLargeBlock(std::size_t bytes);
// Gives back a block from allocateLargeBlock with the same size; null is ignored.
void freeLargeBlock(void* block, std::size_t bytes);

}  // namespace ovcf
