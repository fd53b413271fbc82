// Memory for large tables that are probed at random (the selection filters' cell grids) and for
// the indexer's large point arrays: whole pages from the system, on Linux backed by transparent huge pages where the system allows, which
// saves most page faults and address-translation misses. One implementation per platform
// (posix/PosixLargeBlock.cpp, win32/system/Win32LargeBlock.cpp).
#pragma once

#include <cstddef>

namespace ovcf {

// Zero-filled memory of at least `bytes`, aligned to 64 bytes; null when the system refuses.
void* allocateLargeBlock(std::size_t bytes);
// A block of `newBytes` with the first min(oldBytes, newBytes) bytes of `block` and zeros after
// them; `block` is gone unless null is returned (the system refused). On Linux the pages move
// instead of being copied, so growing a filled array costs only its new pages.
void* resizeLargeBlock(void* block, std::size_t oldBytes, std::size_t newBytes);
// Gives back a block from allocateLargeBlock with the same size; null is ignored.
void freeLargeBlock(void* block, std::size_t bytes);
// True where resizeLargeBlock copies (the old and the new block then both hold the data for a
// moment); false where it moves the pages, and a block's untouched end costs no memory.
bool largeBlockResizeCopies();

}  // namespace ovcf
