// CRC-32 as in zlib and PNG (reflected polynomial 0xEDB88320, initial value 0xFFFFFFFF, final
// complement): the per-node check value of the raw block.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

// CRC-32 of data, continuing from the CRC of what came before (0 for a fresh start):
// crc32(b, crc32(a)) == crc32(a + b). The CRC of nothing is 0.
std::uint32_t crc32(const void* data, std::size_t size, std::uint32_t previous = 0);

// crc32 uses carry-less multiplication where the processor has it; these are the table-driven
// (slicing-by-8) form used elsewhere, and the straightforward bit-at-a-time form, as references.
std::uint32_t crc32Portable(const void* data, std::size_t size, std::uint32_t previous = 0);
std::uint32_t crc32Bitwise(const void* data, std::size_t size, std::uint32_t previous = 0);

}  // namespace ovcf
