#include "import/laz/ChunkTable.h"

#include <algorithm>

#include "import/laz/IntegerCodec.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::laz {

std::vector<ChunkEntry> decodeChunkTable(const std::uint8_t* data, std::size_t size, std::uint32_t count,
                                         bool withPointCounts) {
    std::vector<ChunkEntry> entries;
    if (count == 0) return entries;
    ArithmeticDecoder decoder;
    decoder.start(data, size);
    IntegerCodec codec(32, 2);
    ChunkEntry previous;
    // A damaged count is caught by the caller; reserve no more than the table's bits can hold.
    entries.reserve(std::min<std::size_t>(count, 8 * size + 1));
    for (std::uint32_t i = 0; i < count; ++i) {
        ChunkEntry entry;
        if (withPointCounts)
            entry.points = static_cast<std::uint32_t>(codec.decode(decoder, static_cast<std::int32_t>(previous.points), 0));
        entry.bytes = static_cast<std::uint32_t>(codec.decode(decoder, static_cast<std::int32_t>(previous.bytes), 1));
        entries.push_back(entry);
        previous = entry;
    }
    return entries;
}

std::vector<std::uint8_t> encodeChunkTable(const std::vector<ChunkEntry>& entries, bool withPointCounts) {
    std::vector<std::uint8_t> out(8);
    le::putU32(out.data(), 0);
    le::putU32(out.data() + 4, static_cast<std::uint32_t>(entries.size()));
    if (entries.empty()) return out;
    ArithmeticEncoder encoder;
    IntegerCodec codec(32, 2);
    ChunkEntry previous;
    for (const ChunkEntry& entry : entries) {
        if (withPointCounts)
            codec.encode(encoder, static_cast<std::int32_t>(previous.points), static_cast<std::int32_t>(entry.points), 0);
        codec.encode(encoder, static_cast<std::int32_t>(previous.bytes), static_cast<std::int32_t>(entry.bytes), 1);
        previous = entry;
    }
    encoder.done();
    out.insert(out.end(), encoder.bytes().begin(), encoder.bytes().end());
    return out;
}

}  // namespace ovcf::laz
