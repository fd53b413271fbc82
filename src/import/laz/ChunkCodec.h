// One chunk of LAZ points to and from raw LAS point records. Chunks are independent of each
// other, which is what lets them be decoded and encoded on several threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "import/laz/DecodedFields.h"
#include "import/laz/LazVlr.h"

namespace ovcf::laz {

// Decodes `points` records of the VLR's layout (`recordLength` bytes each) into `out` from the
// chunk's `size` bytes. Throws CorruptData when the bytes cannot be such a chunk.
void decodeChunk(const LazVlr& vlr, const std::uint8_t* data, std::size_t size, std::uint64_t points,
                 std::uint16_t recordLength, std::uint8_t* out, unsigned fields = kAllFields);

// Encodes `points` records with the layered compressor, appending the chunk to `out`.
void encodeLayeredChunk(const LazVlr& vlr, const std::uint8_t* records, std::uint64_t points,
                        std::uint16_t recordLength, std::vector<std::uint8_t>& out);

}  // namespace ovcf::laz
