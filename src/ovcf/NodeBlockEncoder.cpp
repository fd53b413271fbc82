#include "NodeBlockEncoder.h"

#include <lz4.h>

#include "ContentSignature.h"
#include "Crc32.h"
#include "FileFormat.h"
#include "NodeBlockCodec.h"

namespace ovcf {
namespace {

constexpr std::uint64_t kMaxRawSize = 0xFFFFFFFFu;  // the record's 32-bit raw size field
constexpr std::uint32_t kMaxLevel = 0xFF;           // the record's 8-bit level field

void growBuffer(std::vector<std::uint8_t>& buffer, std::size_t size) {
    if (buffer.size() < size) buffer.resize(size);
}

}  // namespace

bool encodeNode(const OvcfWriterParams& params, const NodeKey& key, const PointRecord* points, std::size_t count,
                EncodedNode& out, std::string& error) {
    if (key.level > kMaxLevel) {
        error = "OvcfWriter: node level " + std::to_string(key.level) + " is too deep";
        return false;
    }
    const std::uint32_t recordSize = recordSizeForFormat(params.pointFormat);
    if (count > 0xFFFFFFFFull || std::uint64_t{count} * recordSize > kMaxRawSize) {
        error = "node " + nodeName(key) + ": too many points for a single node";
        return false;
    }
    const NodeOrigin origin = nodeOrigin(params.rootOrigin, params.rootExponent, key);
    const std::size_t rawSize = count * recordSize;
    growBuffer(out.raw, rawSize);
    encodeNodeBlock(points, count, params.pointFormat, origin, out.raw.data());

    std::uint64_t signature = 0;
    for (std::size_t i = 0; i < count; ++i) signature += pointHashForFormat(points[i], params.pointFormat);

    out.pointCount = static_cast<std::uint32_t>(count);
    out.rawSize = rawSize;
    out.crc = crc32(out.raw.data(), rawSize);
    out.signature = signature;
    out.isCompressed = false;
    out.storedSize = rawSize;
    if (params.compression && rawSize >= 1 && rawSize <= kMaxCompressibleRawSize) {
        const int bound = LZ4_compressBound(static_cast<int>(rawSize));
        growBuffer(out.compressed, static_cast<std::size_t>(bound));
        const int packed = LZ4_compress_default(reinterpret_cast<const char*>(out.raw.data()),
                                                reinterpret_cast<char*>(out.compressed.data()),
                                                static_cast<int>(rawSize), bound);
        if (packed >= 1 && static_cast<std::size_t>(packed) < rawSize) {
            out.isCompressed = true;
            out.storedSize = static_cast<std::size_t>(packed);
        }
    }
    return true;
}

}  // namespace ovcf
