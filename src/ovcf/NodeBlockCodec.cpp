#include "NodeBlockCodec.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "FileFormat.h"

static_assert(std::endian::native == std::endian::little, "the word moves below assume a little-endian host");

namespace ovcf {
namespace {

// Points go through in batches held in small per-field arrays: between the byte planes and those
// arrays every loop is a plain element-wise one that the compiler turns into vector code, and
// between the arrays and the 18-byte records each point takes a few whole-word moves instead of
// eighteen byte moves.
constexpr std::size_t kBatch = 256;

struct Batch {
    std::uint32_t x[kBatch], y[kBatch], z[kBatch];
    std::uint16_t intensity[kBatch];
    std::uint8_t red[kBatch], green[kBatch], blue[kBatch], classification[kBatch];
};

inline void gatherWords(const std::uint8_t* const* plane, std::size_t at, std::size_t n, std::uint32_t origin,
                        std::uint32_t* out) {
    const std::uint8_t* b0 = plane[0] + at;
    const std::uint8_t* b1 = plane[1] + at;
    const std::uint8_t* b2 = plane[2] + at;
    const std::uint8_t* b3 = plane[3] + at;
    for (std::size_t i = 0; i < n; ++i)
        out[i] = origin + (std::uint32_t{b0[i]} | std::uint32_t{b1[i]} << 8 | std::uint32_t{b2[i]} << 16 |
                           std::uint32_t{b3[i]} << 24);
}

inline void scatterWords(const std::uint32_t* in, std::size_t n, std::uint32_t origin, std::uint8_t* const* plane,
                         std::size_t at) {
    std::uint8_t* b0 = plane[0] + at;
    std::uint8_t* b1 = plane[1] + at;
    std::uint8_t* b2 = plane[2] + at;
    std::uint8_t* b3 = plane[3] + at;
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint32_t d = in[i] - origin;
        b0[i] = static_cast<std::uint8_t>(d);
        b1[i] = static_cast<std::uint8_t>(d >> 8);
        b2[i] = static_cast<std::uint8_t>(d >> 16);
        b3[i] = static_cast<std::uint8_t>(d >> 24);
    }
}

template <std::uint32_t Format>
void decodeFormat(const std::uint8_t* raw, std::size_t count, const NodeOrigin& origin, PointRecord* points) {
    constexpr std::uint32_t kPlanes = recordSizeForFormat(Format);
    const std::uint8_t* plane[kPlanes];
    for (std::uint32_t k = 0; k < kPlanes; ++k) plane[k] = raw + k * count;
    Batch batch;
    for (std::size_t at = 0; at < count; at += kBatch) {
        const std::size_t n = std::min(kBatch, count - at);
        gatherWords(plane + 0, at, n, origin[0], batch.x);
        gatherWords(plane + 4, at, n, origin[1], batch.y);
        gatherWords(plane + 8, at, n, origin[2], batch.z);
        if constexpr (Format == 2) {
            const std::uint8_t* lo = plane[12] + at;
            const std::uint8_t* hi = plane[13] + at;
            for (std::size_t i = 0; i < n; ++i)
                batch.intensity[i] = static_cast<std::uint16_t>(lo[i] | hi[i] << 8);
        }
        PointRecord* out = points + at;
        for (std::size_t i = 0; i < n; ++i) {
            // Bytes 0-7, 8-15 and 16-17 of the record, little-endian like PointRecord's fields.
            const std::uint64_t xy = std::uint64_t{batch.x[i]} | std::uint64_t{batch.y[i]} << 32;
            std::uint64_t zRest = batch.z[i];
            std::uint16_t tail = 0;
            if constexpr (Format == 1) {
                zRest |= std::uint64_t{plane[12][at + i]} << 48 | std::uint64_t{plane[13][at + i]} << 56;
                tail = plane[14][at + i];
            } else if constexpr (Format == 2) {
                zRest |= std::uint64_t{batch.intensity[i]} << 32 | std::uint64_t{plane[14][at + i]} << 48 |
                         std::uint64_t{plane[15][at + i]} << 56;
                tail = static_cast<std::uint16_t>(plane[16][at + i] | plane[17][at + i] << 8);
            }
            auto* record = reinterpret_cast<unsigned char*>(out + i);
            std::memcpy(record, &xy, 8);
            std::memcpy(record + 8, &zRest, 8);
            std::memcpy(record + 16, &tail, 2);
        }
    }
}

template <std::uint32_t Format>
void encodeFormat(const PointRecord* points, std::size_t count, const NodeOrigin& origin, std::uint8_t* raw) {
    constexpr std::uint32_t kPlanes = recordSizeForFormat(Format);
    std::uint8_t* plane[kPlanes];
    for (std::uint32_t k = 0; k < kPlanes; ++k) plane[k] = raw + k * count;
    Batch batch;
    for (std::size_t at = 0; at < count; at += kBatch) {
        const std::size_t n = std::min(kBatch, count - at);
        const PointRecord* in = points + at;
        for (std::size_t i = 0; i < n; ++i) {
            const PointRecord p = in[i];
            batch.x[i] = p.x;
            batch.y[i] = p.y;
            batch.z[i] = p.z;
            batch.intensity[i] = p.intensity;
            batch.red[i] = p.red;
            batch.green[i] = p.green;
            batch.blue[i] = p.blue;
            batch.classification[i] = p.classification;
        }
        scatterWords(batch.x, n, origin[0], plane + 0, at);
        scatterWords(batch.y, n, origin[1], plane + 4, at);
        scatterWords(batch.z, n, origin[2], plane + 8, at);
        if constexpr (Format == 1) {
            std::memcpy(plane[12] + at, batch.red, n);
            std::memcpy(plane[13] + at, batch.green, n);
            std::memcpy(plane[14] + at, batch.blue, n);
        } else if constexpr (Format == 2) {
            for (std::size_t i = 0; i < n; ++i) {
                plane[12][at + i] = static_cast<std::uint8_t>(batch.intensity[i]);
                plane[13][at + i] = static_cast<std::uint8_t>(batch.intensity[i] >> 8);
            }
            std::memcpy(plane[14] + at, batch.red, n);
            std::memcpy(plane[15] + at, batch.green, n);
            std::memcpy(plane[16] + at, batch.blue, n);
            std::memcpy(plane[17] + at, batch.classification, n);
        }
    }
}

}  // namespace

void encodeNodeBlock(const PointRecord* points, std::size_t count, std::uint32_t pointFormat,
                     const NodeOrigin& origin, std::uint8_t* raw) {
    switch (pointFormat) {
        case 0: encodeFormat<0>(points, count, origin, raw); break;
        case 1: encodeFormat<1>(points, count, origin, raw); break;
        default: encodeFormat<2>(points, count, origin, raw); break;
    }
}

void decodeNodeBlock(const std::uint8_t* raw, std::size_t count, std::uint32_t pointFormat,
                     const NodeOrigin& origin, PointRecord* points) {
    switch (pointFormat) {
        case 0: decodeFormat<0>(raw, count, origin, points); break;
        case 1: decodeFormat<1>(raw, count, origin, points); break;
        default: decodeFormat<2>(raw, count, origin, points); break;
    }
}

void decodeNodeCoordinates(const std::uint8_t* raw, std::size_t count, const NodeOrigin& origin, std::uint32_t* x,
                           std::uint32_t* y, std::uint32_t* z) {
    const std::uint8_t* plane[12];
    for (std::uint32_t k = 0; k < 12; ++k) plane[k] = raw + k * count;
    gatherWords(plane + 0, 0, count, origin[0], x);
    gatherWords(plane + 4, 0, count, origin[1], y);
    gatherWords(plane + 8, 0, count, origin[2], z);
}

}  // namespace ovcf
