// A small PNG reader for the tests, written apart from the encoder: it walks the chunks, checks
// every CRC with a bit-by-bit CRC-32, and unpacks stored deflate blocks by hand.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace ovcf::test {

struct PngChunk {
    std::string type;
    std::vector<std::uint8_t> data;
    bool crcMatches = false;
};

struct StoredBlock {
    std::size_t length = 0;
    bool final = false;
};

struct InspectedPng {
    bool signatureOk = false;
    std::vector<PngChunk> chunks;
    std::uint32_t width = 0, height = 0;
    std::uint8_t bitDepth = 0, colorType = 0, compression = 0, filter = 0, interlace = 0;
    std::vector<std::uint8_t> zlibStream;  // the IDAT data
    std::vector<StoredBlock> blocks;
    std::vector<std::uint8_t> raw;  // the stored blocks' bytes, concatenated
    bool adlerMatches = false;
    std::string problem;  // empty when the structure is sound
};


namespace detail {

inline std::uint32_t be32(const std::uint8_t* p) {
    return (std::uint32_t(p[0]) << 24) | (std::uint32_t(p[1]) << 16) | (std::uint32_t(p[2]) << 8) | p[3];
}

}  // namespace detail

inline std::uint32_t referenceCrc32(const std::uint8_t* p, std::size_t n, std::uint32_t crc = 0xFFFFFFFFu) {
    for (std::size_t i = 0; i < n; ++i) {
        crc ^= p[i];
        for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return crc;
}

inline std::uint32_t referenceAdler32(const std::vector<std::uint8_t>& data) {
    std::uint64_t a = 1, b = 0;
    for (std::uint8_t byte : data) {
        a = (a + byte) % 65521;
        b = (b + a) % 65521;
    }
    return std::uint32_t((b << 16) | a);
}

inline InspectedPng inspectPng(const std::vector<std::uint8_t>& file) {
    InspectedPng png;
    static const std::uint8_t kSignature[8] = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A};
    if (file.size() < 8 || !std::equal(kSignature, kSignature + 8, file.begin())) {
        png.problem = "bad signature";
        return png;
    }
    png.signatureOk = true;
    std::size_t pos = 8;
    while (pos < file.size()) {
        if (file.size() - pos < 12) {
            png.problem = "truncated chunk";
            return png;
        }
        const std::uint32_t length = detail::be32(&file[pos]);
        if (file.size() - pos - 12 < length) {
            png.problem = "chunk longer than the file";
            return png;
        }
        PngChunk chunk;
        chunk.type.assign(reinterpret_cast<const char*>(&file[pos + 4]), 4);
        chunk.data.assign(file.begin() + pos + 8, file.begin() + pos + 8 + length);
        const std::uint32_t stored = detail::be32(&file[pos + 8 + length]);
        chunk.crcMatches = (referenceCrc32(&file[pos + 4], length + 4) ^ 0xFFFFFFFFu) == stored;
        png.chunks.push_back(std::move(chunk));
        pos += 12 + length;
    }
    for (const PngChunk& c : png.chunks) {
        if (c.type == "IHDR" && c.data.size() == 13) {
            png.width = detail::be32(&c.data[0]);
            png.height = detail::be32(&c.data[4]);
            png.bitDepth = c.data[8];
            png.colorType = c.data[9];
            png.compression = c.data[10];
            png.filter = c.data[11];
            png.interlace = c.data[12];
        }
        if (c.type == "IDAT") png.zlibStream.insert(png.zlibStream.end(), c.data.begin(), c.data.end());
    }
    const std::vector<std::uint8_t>& z = png.zlibStream;
    if (z.size() < 6 || (z[0] & 0x0F) != 8 || ((z[0] << 8) | z[1]) % 31 != 0) {
        png.problem = "bad zlib header";
        return png;
    }
    std::size_t p = 2;
    for (;;) {
        if (z.size() - p < 5) {
            png.problem = "truncated block header";
            return png;
        }
        const std::uint8_t header = z[p];
        if ((header >> 1) != 0) {
            png.problem = "not a stored block";
            return png;
        }
        const std::size_t len = z[p + 1] | (z[p + 2] << 8);
        const std::size_t nlen = z[p + 3] | (z[p + 4] << 8);
        if ((len ^ 0xFFFF) != nlen) {
            png.problem = "length and its complement differ";
            return png;
        }
        p += 5;
        if (z.size() - p < len) {
            png.problem = "truncated block";
            return png;
        }
        png.raw.insert(png.raw.end(), z.begin() + p, z.begin() + p + len);
        p += len;
        png.blocks.push_back({len, (header & 1) != 0});
        if (header & 1) break;
    }
    if (z.size() - p != 4) {
        png.problem = "bytes after the last block";
        return png;
    }
    png.adlerMatches = detail::be32(&z[p]) == referenceAdler32(png.raw);
    return png;
}

}  // namespace ovcf::test
