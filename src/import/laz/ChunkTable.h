// The table after a LAZ file's chunks: each chunk's compressed size (and, for variable chunks,
// its point count), coded as differences to the previous entry.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace ovcf::laz {

struct ChunkEntry {
    std::uint64_t points = 0;
    std::uint64_t bytes = 0;
};

// Decodes `count` entries from the compressed table body (after its version and count words).
// Throws CorruptData when the bytes end early.
std::vector<ChunkEntry> decodeChunkTable(const std::uint8_t* data, std::size_t size, std::uint32_t count,
                                         bool withPointCounts);
// The whole table: version, count and the coded entries.
std::vector<std::uint8_t> encodeChunkTable(const std::vector<ChunkEntry>& entries, bool withPointCounts);

}  // namespace ovcf::laz
