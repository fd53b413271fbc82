// The .ovcf file: a 512-byte header, node blocks, the hierarchy table (80 bytes per node), the
// deleted-points bitmap and a metadata text. Every multi-byte field is little-endian; the
// structures below mirror the on-disk field layout, and encode/decode convert explicitly so the
// code does not depend on the host's byte order or padding.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "NodeKey.h"

namespace ovcf {

constexpr std::string_view kOvcfMagic = "OVCF";  // the first four bytes, no terminator
constexpr std::uint16_t kOvcfVersionMajor = 1;
constexpr std::uint16_t kOvcfVersionMinor = 0;
constexpr std::uint32_t kOvcfFlagLz4 = 1;  // compression was enabled at writing (informative)

constexpr std::size_t kHeaderSize = 512;
constexpr std::size_t kHierarchyRecordSize = 80;
constexpr std::uint32_t kNoChild = 0xFFFFFFFFu;
constexpr std::uint32_t kMinRootExponent = 1;
constexpr std::uint32_t kMaxRootExponent = 32;
// Largest raw block handed to the compressor (LZ4's own input limit).
constexpr std::uint64_t kMaxCompressibleRawSize = 0x7DFFFFFF;
// Sections after the node blocks start at multiples of this.
constexpr std::uint64_t kSectionAlignment = 16;

enum PointFormat : std::uint32_t {
    PointFormatXyz = 0,
    PointFormatXyzRgb = 1,
    PointFormatXyzRgbIntensityClass = 2,
};
constexpr std::uint32_t kMaxPointFormat = 2;

// 12, 15 or 18 bytes for formats 0, 1, 2; 0 for an unknown format.
constexpr std::uint32_t recordSizeForFormat(std::uint32_t pointFormat) {
    return pointFormat == 0 ? 12u : pointFormat == 1 ? 15u : pointFormat == 2 ? 18u : 0u;
}

// The name used in messages, e.g. "1 (XYZ+RGB)"; "?" for an unknown format.
const char* pointFormatName(std::uint32_t pointFormat);

struct FileHeader {
    char magic[4] = {};
    std::uint16_t versionMajor = 0;
    std::uint16_t versionMinor = 0;
    std::uint32_t flags = 0;
    std::uint32_t pointFormat = 0;
    std::uint32_t recordSize = 0;
    std::uint32_t nodeCount = 0;
    std::uint64_t pointCount = 0;
    double step[3] = {};      // metres per quantised unit
    double offset[3] = {};    // world coordinate of quantised 0
    double boundsMin[3] = {};
    double boundsMax[3] = {};
    std::uint32_t rootOrigin[3] = {};  // quantised units
    std::uint32_t rootExponent = 0;    // root cube side = 2^E units
    std::uint32_t deepestLevel = 0;
    std::uint32_t gridSize = 0;
    std::uint32_t maxNodePoints = 0;
    std::uint32_t reserved = 0;
    std::uint64_t hierarchyOffset = 0;
    std::uint64_t hierarchySize = 0;
    std::uint64_t deletedMapOffset = 0;
    std::uint64_t deletedMapSize = 0;
    std::uint64_t deletedCount = 0;
    std::uint64_t buildSignature = 0;    // content signature as built, never changed
    std::uint64_t currentSignature = 0;  // updated when deletions are confirmed
    std::uint64_t metadataOffset = 0;    // 0 when there is no metadata
    std::uint64_t metadataSize = 0;
    std::uint8_t reservedTail[280] = {};
};

static_assert(sizeof(FileHeader) == kHeaderSize);
static_assert(kOvcfMagic.size() == sizeof(FileHeader::magic));
static_assert(offsetof(FileHeader, versionMajor) == 4 && offsetof(FileHeader, flags) == 8);
static_assert(offsetof(FileHeader, pointFormat) == 12 && offsetof(FileHeader, recordSize) == 16);
static_assert(offsetof(FileHeader, nodeCount) == 20 && offsetof(FileHeader, pointCount) == 24);
static_assert(offsetof(FileHeader, step) == 32 && offsetof(FileHeader, offset) == 56);
static_assert(offsetof(FileHeader, boundsMin) == 80 && offsetof(FileHeader, boundsMax) == 104);
static_assert(offsetof(FileHeader, rootOrigin) == 128 && offsetof(FileHeader, rootExponent) == 140);
static_assert(offsetof(FileHeader, deepestLevel) == 144 && offsetof(FileHeader, gridSize) == 148);
static_assert(offsetof(FileHeader, maxNodePoints) == 152 && offsetof(FileHeader, reserved) == 156);
static_assert(offsetof(FileHeader, hierarchyOffset) == 160 && offsetof(FileHeader, hierarchySize) == 168);
static_assert(offsetof(FileHeader, deletedMapOffset) == 176 && offsetof(FileHeader, deletedMapSize) == 184);
static_assert(offsetof(FileHeader, deletedCount) == 192 && offsetof(FileHeader, buildSignature) == 200);
static_assert(offsetof(FileHeader, currentSignature) == 208 && offsetof(FileHeader, metadataOffset) == 216);
static_assert(offsetof(FileHeader, metadataSize) == 224 && offsetof(FileHeader, reservedTail) == 232);

struct HierarchyRecord {
    std::uint8_t level = 0;
    std::uint8_t childMask = 0;  // bit o: the child in octant o exists
    std::uint16_t reserved = 0;
    std::uint32_t pointCount = 0;
    std::uint32_t keyX = 0;
    std::uint32_t keyY = 0;
    std::uint32_t keyZ = 0;
    std::uint32_t crc = 0;           // CRC-32 of the raw (transposed, uncompressed) block
    std::uint64_t blockOffset = 0;   // file offset of the stored block
    std::uint32_t storedSize = 0;    // differs from rawSize exactly when LZ4-compressed
    std::uint32_t rawSize = 0;       // pointCount * record size
    std::uint64_t firstPoint = 0;    // global index of the node's first point
    std::uint32_t children[8] = {kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild};

    NodeKey key() const { return NodeKey{level, keyX, keyY, keyZ}; }
};

static_assert(sizeof(HierarchyRecord) == kHierarchyRecordSize);
static_assert(offsetof(HierarchyRecord, childMask) == 1 && offsetof(HierarchyRecord, pointCount) == 4);
static_assert(offsetof(HierarchyRecord, keyX) == 8 && offsetof(HierarchyRecord, keyZ) == 16);
static_assert(offsetof(HierarchyRecord, crc) == 20 && offsetof(HierarchyRecord, blockOffset) == 24);
static_assert(offsetof(HierarchyRecord, storedSize) == 32 && offsetof(HierarchyRecord, rawSize) == 36);
static_assert(offsetof(HierarchyRecord, firstPoint) == 40 && offsetof(HierarchyRecord, children) == 48);

// Exactly kHeaderSize bytes.
void encodeHeader(const FileHeader& header, std::uint8_t* out);
FileHeader decodeHeader(const std::uint8_t* in);

// Exactly kHierarchyRecordSize bytes per record.
void encodeHierarchyRecord(const HierarchyRecord& record, std::uint8_t* out);
HierarchyRecord decodeHierarchyRecord(const std::uint8_t* in);
void encodeHierarchy(const HierarchyRecord* records, std::size_t count, std::uint8_t* out);
void decodeHierarchy(const std::uint8_t* in, std::size_t count, HierarchyRecord* records);

// Bytes of the deleted-points bitmap: (pointCount + 7) / 8, without overflow.
constexpr std::uint64_t deletedMapBytes(std::uint64_t pointCount) {
    return pointCount / 8 + (pointCount % 8 != 0 ? 1 : 0);
}

// Next multiple of kSectionAlignment at or above value.
constexpr std::uint64_t alignSection(std::uint64_t value) {
    return (value + kSectionAlignment - 1) & ~(kSectionAlignment - 1);
}

// Node origin from a header's root cube.
inline std::array<std::uint32_t, 3> nodeOrigin(const FileHeader& header, const NodeKey& key) {
    return nodeOrigin(header.rootOrigin, header.rootExponent, key);
}

}  // namespace ovcf
