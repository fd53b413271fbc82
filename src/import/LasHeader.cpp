#include "import/LasHeader.h"

#include <cmath>
#include <cstring>

#include "ovcf/ByteOrder.h"

namespace ovcf {

namespace {

constexpr std::uint16_t kMinimumRecordLength[11] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
constexpr int kColourOffset[11] = {-1, -1, 20, 28, -1, 28, -1, 30, 30, -1, 30};
constexpr std::size_t kLegacyHeaderSize = 227;  // LAS 1.0 to 1.2
constexpr std::size_t kHeader14Size = 375;

}  // namespace

std::uint16_t lasMinimumRecordLength(std::uint8_t pointFormat) {
    return pointFormat <= 10 ? kMinimumRecordLength[pointFormat] : 0;
}

int lasColourOffset(std::uint8_t pointFormat) { return pointFormat <= 10 ? kColourOffset[pointFormat] : -1; }

bool parseLasHeader(const std::uint8_t* b, std::size_t size, std::uint64_t fileSize, LasHeader& h,
                    std::string& reason) {
    if (size < 4 || std::memcmp(b, "LASF", 4) != 0) {
        reason = "not a LAS file (it does not start with 'LASF')";
        return false;
    }
    if (size < kLegacyHeaderSize) {
        reason = "the LAS header is truncated";
        return false;
    }
    h.versionMajor = b[24];
    h.versionMinor = b[25];
    if (h.versionMajor != 1) {
        reason = "LAS version " + std::to_string(h.versionMajor) + "." + std::to_string(h.versionMinor) +
                 " is not supported (1.0 to 1.4 are)";
        return false;
    }
    h.headerSize = le::u16(b + 94);
    h.pointDataOffset = le::u32(b + 96);
    h.vlrCount = le::u32(b + 100);
    const std::uint8_t formatByte = b[104];
    h.recordLength = le::u16(b + 105);
    std::uint64_t count = le::u32(b + 107);
    for (int axis = 0; axis < 3; ++axis) {
        h.scale[axis] = le::f64(b + 131 + 8 * axis);
        h.offset[axis] = le::f64(b + 155 + 8 * axis);
        h.max[axis] = le::f64(b + 179 + 16 * axis);
        h.min[axis] = le::f64(b + 187 + 16 * axis);
    }
    // LAS 1.4 moved the point count to 64 bits; the legacy field may be 0 there.
    if (h.versionMinor >= 4 && h.headerSize >= kHeader14Size && size >= kHeader14Size) {
        const std::uint64_t count64 = le::u64(b + 247);
        if (count64 != 0) count = count64;
    }
    h.pointCount = count;

    if (h.headerSize < kLegacyHeaderSize) {
        reason = "the LAS header declares a size of " + std::to_string(h.headerSize) + " bytes, less than 227";
        return false;
    }
    h.compressed = (formatByte & 0xC0) != 0;
    h.pointFormat = formatByte & 0x3F;
    if (h.pointFormat > 10) {
        reason = "unknown LAS point format " + std::to_string(h.pointFormat);
        return false;
    }
    if (h.recordLength < kMinimumRecordLength[h.pointFormat]) {
        reason = "point records of " + std::to_string(h.recordLength) + " bytes are too short for LAS point format " +
                 std::to_string(h.pointFormat) + " (at least " + std::to_string(kMinimumRecordLength[h.pointFormat]) +
                 ")";
        return false;
    }
    if (h.pointDataOffset < h.headerSize) {
        reason = "the point data offset lies inside the header";
        return false;
    }
    for (int axis = 0; axis < 3; ++axis) {
        if (!std::isfinite(h.scale[axis]) || h.scale[axis] == 0.0 || !std::isfinite(h.offset[axis])) {
            reason = "invalid scale factor or offset in the LAS header";
            return false;
        }
    }
    if (h.compressed) {
        if (h.pointDataOffset > fileSize) {
            reason = "the file is truncated: its point data would start at offset " + std::to_string(h.pointDataOffset) +
                     ", but the file has only " + std::to_string(fileSize) + " bytes";
            return false;
        }
        return true;
    }
    const std::uint64_t dataBytes = h.pointCount * h.recordLength;
    if (h.pointCount > fileSize / h.recordLength || h.pointDataOffset + dataBytes > fileSize) {
        reason = "the file is truncated: the header declares " + std::to_string(h.pointCount) + " points of " +
                 std::to_string(h.recordLength) + " bytes from offset " + std::to_string(h.pointDataOffset) +
                 ", but the file has only " + std::to_string(fileSize) + " bytes";
        return false;
    }
    return true;
}

}  // namespace ovcf
