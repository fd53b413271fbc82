// Writes small LAZ 1.4 files with the layered compressor for the tests and the fuzz seeds:
// point formats 6 to 8 with any number of extra bytes, in fixed or variable chunks.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "import/laz/ChunkCodec.h"
#include "import/laz/ChunkTable.h"
#include "import/laz/LazVlr.h"
#include "ovcf/ByteOrder.h"

namespace ovcf::test {

// Records of a format of 6 to 8 in which every field moves: channels, returns, GPS time in
// several sequences with jumps, NIR and extra bytes; some fields stay constant, for the empty
// layers.
inline std::vector<std::uint8_t> variedLayeredRecords(std::uint8_t format, std::uint16_t extraBytes, std::size_t count,
                                        std::uint16_t length) {
    std::mt19937 random(format * 100 + extraBytes);
    std::vector<std::uint8_t> records(count * length, 0);
    double times[3] = {1000.0, 5e8, -3.0};
    for (std::size_t i = 0; i < count; ++i) {
        std::uint8_t* r = records.data() + i * length;
        const unsigned channel = (i / 700) % 4 == 3 ? static_cast<unsigned>(random() % 4) : (i / 700) % 4;
        le::putU32(r, static_cast<std::uint32_t>(static_cast<std::int32_t>(i * 3 + random() % 50) - 1000));
        le::putU32(r + 4, static_cast<std::uint32_t>(i % 997 * 11 + random() % 7));
        le::putU32(r + 8, static_cast<std::uint32_t>(random() % 400000));
        le::putU16(r + 12, static_cast<std::uint16_t>(i % 5 == 0 ? random() : 777));
        const unsigned n = 1 + random() % 5;
        r[14] = static_cast<std::uint8_t>((n << 4) | (1 + random() % n));
        r[15] = static_cast<std::uint8_t>((channel << 4) | (i % 300 == 0 ? 0xC3 : 0));
        r[16] = static_cast<std::uint8_t>(i % 40 < 30 ? 2 : random() % 20);
        r[17] = 9;  // user data never changes: an empty layer
        le::putU16(r + 18, static_cast<std::uint16_t>(static_cast<std::int16_t>(i % 11 == 0 ? random() % 30000 - 15000 : 0)));
        le::putU16(r + 20, static_cast<std::uint16_t>(i / 5000));
        double& time = times[i % 3 == 0 ? (i / 4000) % 3 : 0];
        time += i % 17 == 0 ? 1e6 : random() % 4 == 0 ? 0.0 : 1e-5 * (random() % 100);
        le::putF64(r + 22, time);
        std::size_t at = 30;
        if (format >= 7) {
            for (int c = 0; c < 3; ++c) le::putU16(r + at + 2 * c, static_cast<std::uint16_t>(i % 9 == 0 ? random() : 3000 * c));
            at += 6;
        }
        if (format == 8) {
            le::putU16(r + at, static_cast<std::uint16_t>(random() % 3 == 0 ? random() : 40000));
            at += 2;
        }
        for (std::uint16_t b = 0; b < extraBytes; ++b) r[at + b] = static_cast<std::uint8_t>(b == 1 ? 0x42 : random() % 8);
    }
    return records;
}

// A LAZ 1.4 file of the given records, chunked as `chunkPoints` says (several sizes: variable).
inline std::vector<std::uint8_t> layeredLazFile(std::uint8_t format, std::uint16_t extraBytes, const std::vector<std::uint8_t>& records,
                                  std::uint16_t length, const std::vector<std::uint32_t>& chunkPoints, bool variable) {
    laz::LazVlr vlr = laz::layeredVlrFor(format, extraBytes);
    vlr.chunkSize = variable ? laz::LazVlr::kVariableChunks : chunkPoints.front();
    const std::vector<std::uint8_t> body = laz::encodeLazVlr(vlr);
    std::vector<std::uint8_t> record(54, 0);
    std::memcpy(record.data() + 2, laz::kLazVlrUserId, sizeof laz::kLazVlrUserId - 1);
    le::putU16(record.data() + 18, laz::kLazVlrRecordId);
    le::putU16(record.data() + 20, static_cast<std::uint16_t>(body.size()));
    record.insert(record.end(), body.begin(), body.end());
    std::vector<std::uint8_t> file(375, 0);
    std::memcpy(file.data(), "LASF", 4);
    file[24] = 1;
    file[25] = 4;
    le::putU16(file.data() + 94, 375);
    le::putU32(file.data() + 96, static_cast<std::uint32_t>(375 + 54 + body.size()));
    le::putU32(file.data() + 100, 1);
    file[104] = static_cast<std::uint8_t>(format | 0x80);
    le::putU16(file.data() + 105, length);
    const std::uint64_t count = records.size() / length;
    for (int a = 0; a < 3; ++a) {
        le::putF64(file.data() + 131 + 8 * a, 0.01);
        le::putF64(file.data() + 179 + 16 * a, 1e5);   // max
        le::putF64(file.data() + 187 + 16 * a, -1e5);  // min
    }
    le::putU64(file.data() + 247, count);
    file.resize(375 + record.size());
    std::memcpy(file.data() + 375, record.data(), record.size());
    const std::size_t tableWord = file.size();
    file.resize(file.size() + 8);
    std::vector<laz::ChunkEntry> table;
    std::uint64_t done = 0;
    for (std::size_t c = 0; done < count; ++c) {
        const std::uint64_t points = std::min<std::uint64_t>(chunkPoints[c % chunkPoints.size()], count - done);
        const std::size_t before = file.size();
        laz::encodeLayeredChunk(vlr, records.data() + done * length, points, length, file);
        table.push_back({points, file.size() - before});
        done += points;
    }
    le::putU64(file.data() + tableWord, file.size());
    const std::vector<std::uint8_t> encoded = laz::encodeChunkTable(table, variable);
    file.insert(file.end(), encoded.begin(), encoded.end());
    return file;
}

}  // namespace ovcf::test
