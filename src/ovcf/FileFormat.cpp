#include "FileFormat.h"

#include <cstring>

#include "ByteOrder.h"

namespace ovcf {

const char* pointFormatName(std::uint32_t pointFormat) {
    switch (pointFormat) {
        case 0: return "0 (XYZ)";
        case 1: return "1 (XYZ+RGB)";
        case 2: return "2 (XYZ+RGB+intensita'+classe)";
        default: return "?";
    }
}

void encodeHeader(const FileHeader& h, std::uint8_t* out) {
    std::memcpy(out, h.magic, 4);
    le::putU16(out + 4, h.versionMajor);
    le::putU16(out + 6, h.versionMinor);
    le::putU32(out + 8, h.flags);
    le::putU32(out + 12, h.pointFormat);
    le::putU32(out + 16, h.recordSize);
    le::putU32(out + 20, h.nodeCount);
    le::putU64(out + 24, h.pointCount);
    for (int a = 0; a < 3; ++a) {
        le::putF64(out + 32 + 8 * a, h.step[a]);
        le::putF64(out + 56 + 8 * a, h.offset[a]);
        le::putF64(out + 80 + 8 * a, h.boundsMin[a]);
        le::putF64(out + 104 + 8 * a, h.boundsMax[a]);
        le::putU32(out + 128 + 4 * a, h.rootOrigin[a]);
    }
    le::putU32(out + 140, h.rootExponent);
    le::putU32(out + 144, h.deepestLevel);
    le::putU32(out + 148, h.gridSize);
    le::putU32(out + 152, h.maxNodePoints);
    le::putU32(out + 156, h.reserved);
    le::putU64(out + 160, h.hierarchyOffset);
    le::putU64(out + 168, h.hierarchySize);
    le::putU64(out + 176, h.deletedMapOffset);
    le::putU64(out + 184, h.deletedMapSize);
    le::putU64(out + 192, h.deletedCount);
    le::putU64(out + 200, h.buildSignature);
    le::putU64(out + 208, h.currentSignature);
    le::putU64(out + 216, h.metadataOffset);
    le::putU64(out + 224, h.metadataSize);
    std::memcpy(out + 232, h.reservedTail, sizeof h.reservedTail);
}

FileHeader decodeHeader(const std::uint8_t* in) {
    FileHeader h;
    std::memcpy(h.magic, in, 4);
    h.versionMajor = le::u16(in + 4);
    h.versionMinor = le::u16(in + 6);
    h.flags = le::u32(in + 8);
    h.pointFormat = le::u32(in + 12);
    h.recordSize = le::u32(in + 16);
    h.nodeCount = le::u32(in + 20);
    h.pointCount = le::u64(in + 24);
    for (int a = 0; a < 3; ++a) {
        h.step[a] = le::f64(in + 32 + 8 * a);
        h.offset[a] = le::f64(in + 56 + 8 * a);
        h.boundsMin[a] = le::f64(in + 80 + 8 * a);
        h.boundsMax[a] = le::f64(in + 104 + 8 * a);
        h.rootOrigin[a] = le::u32(in + 128 + 4 * a);
    }
    h.rootExponent = le::u32(in + 140);
    h.deepestLevel = le::u32(in + 144);
    h.gridSize = le::u32(in + 148);
    h.maxNodePoints = le::u32(in + 152);
    h.reserved = le::u32(in + 156);
    h.hierarchyOffset = le::u64(in + 160);
    h.hierarchySize = le::u64(in + 168);
    h.deletedMapOffset = le::u64(in + 176);
    h.deletedMapSize = le::u64(in + 184);
    h.deletedCount = le::u64(in + 192);
    h.buildSignature = le::u64(in + 200);
    h.currentSignature = le::u64(in + 208);
    h.metadataOffset = le::u64(in + 216);
    h.metadataSize = le::u64(in + 224);
    std::memcpy(h.reservedTail, in + 232, sizeof h.reservedTail);
    return h;
}

void encodeHierarchyRecord(const HierarchyRecord& r, std::uint8_t* out) {
    out[0] = r.level;
    out[1] = r.childMask;
    le::putU16(out + 2, r.reserved);
    le::putU32(out + 4, r.pointCount);
    le::putU32(out + 8, r.keyX);
    le::putU32(out + 12, r.keyY);
    le::putU32(out + 16, r.keyZ);
    le::putU32(out + 20, r.crc);
    le::putU64(out + 24, r.blockOffset);
    le::putU32(out + 32, r.storedSize);
    le::putU32(out + 36, r.rawSize);
    le::putU64(out + 40, r.firstPoint);
    for (int o = 0; o < 8; ++o) le::putU32(out + 48 + 4 * o, r.children[o]);
}

HierarchyRecord decodeHierarchyRecord(const std::uint8_t* in) {
    HierarchyRecord r;
    r.level = in[0];
    r.childMask = in[1];
    r.reserved = le::u16(in + 2);
    r.pointCount = le::u32(in + 4);
    r.keyX = le::u32(in + 8);
    r.keyY = le::u32(in + 12);
    r.keyZ = le::u32(in + 16);
    r.crc = le::u32(in + 20);
    r.blockOffset = le::u64(in + 24);
    r.storedSize = le::u32(in + 32);
    r.rawSize = le::u32(in + 36);
    r.firstPoint = le::u64(in + 40);
    for (int o = 0; o < 8; ++o) r.children[o] = le::u32(in + 48 + 4 * o);
    return r;
}

void encodeHierarchy(const HierarchyRecord* records, std::size_t count, std::uint8_t* out) {
    for (std::size_t i = 0; i < count; ++i) encodeHierarchyRecord(records[i], out + i * kHierarchyRecordSize);
}

void decodeHierarchy(const std::uint8_t* in, std::size_t count, HierarchyRecord* records) {
    for (std::size_t i = 0; i < count; ++i) records[i] = decodeHierarchyRecord(in + i * kHierarchyRecordSize);
}

}  // namespace ovcf
