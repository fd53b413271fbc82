#include "import/TileHeader.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "ovcf/ByteOrder.h"
#include "platform/SystemFile.h"

namespace ovcf {

namespace {

constexpr std::size_t kEvlrHeaderBytes = 60;
// Reference system records are a few KiB; anything larger is not read.
constexpr std::uint64_t kLargestCrsRecord = 1u << 20;
constexpr std::uint64_t kLargestVlrArea = 64u << 20;
constexpr const char* kProjectionUserId = "LASF_Projection";

bool isCrsRecord(const std::uint8_t* userId, std::uint16_t recordId) {
    char id[17] = {};
    std::memcpy(id, userId, 16);
    if (std::strcmp(id, kProjectionUserId) != 0) return false;
    return recordId == 2112 || recordId == 34735 || recordId == 34736 || recordId == 34737;
}

// Text records (WKT, GeoTIFF ASCII) compare without the zero padding writers differ in.
std::string payloadText(std::uint16_t recordId, const std::uint8_t* bytes, std::size_t size) {
    std::string payload(reinterpret_cast<const char*>(bytes), size);
    if (recordId == 2112 || recordId == 34737)
        while (!payload.empty() && payload.back() == '\0') payload.pop_back();
    return payload;
}

std::string joinRecords(std::vector<std::pair<std::uint16_t, std::string>> records) {
    std::stable_sort(records.begin(), records.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::string text;
    for (const auto& [id, payload] : records) text += std::to_string(id) + ":" + std::to_string(payload.size()) + ":" + payload;
    return text;
}

}  // namespace

bool readTileHeader(const std::string& path, TileHeader& tile, std::string& error) {
    tile = TileHeader{};
    tile.path = path;
    auto fail = [&](const std::string& reason) {
        error = "'" + path + "': " + reason;
        return false;
    };
    SystemFile file;
    if (!file.open(path, SystemFile::Mode::Read)) return fail("cannot open the file: " + file.lastErrorText());
    std::uint64_t size = 0;
    if (!file.size(size)) return fail("cannot read the file's size: " + file.lastErrorText());
    std::uint8_t bytes[kLasHeaderBytesToRead] = {};
    const std::size_t headerBytes = static_cast<std::size_t>(std::min<std::uint64_t>(size, sizeof bytes));
    if (!file.readAt(0, bytes, headerBytes)) return fail("reading the LAS header failed: " + file.lastErrorText());
    std::string reason;
    if (!parseLasHeader(bytes, headerBytes, size, tile.header, reason)) return fail(reason);
    const LasHeader& h = tile.header;

    std::vector<std::pair<std::uint16_t, std::string>> records;
    const std::uint64_t area = h.pointDataOffset - h.headerSize;
    if (area > kLargestVlrArea) return fail("the variable-length records are too large");
    std::vector<std::uint8_t> vlrs(static_cast<std::size_t>(area));
    if (!vlrs.empty() && !file.readAt(h.headerSize, vlrs.data(), vlrs.size()))
        return fail("reading the variable-length records at byte " + std::to_string(h.headerSize) +
                    " failed: " + file.lastErrorText());
    std::size_t at = 0;
    for (std::uint32_t i = 0; i < h.vlrCount && at + kVlrHeaderBytes <= vlrs.size(); ++i) {
        const std::uint8_t* vlr = vlrs.data() + at;
        const std::size_t length = le::u16(vlr + 20);
        if (at + kVlrHeaderBytes + length > vlrs.size()) break;
        if (isCrsRecord(vlr + 2, le::u16(vlr + 18)))
            records.emplace_back(le::u16(vlr + 18), payloadText(le::u16(vlr + 18), vlr + kVlrHeaderBytes, length));
        at += kVlrHeaderBytes + length;
    }

    // LAS 1.4 may keep the reference system in extended records after the points.
    if (h.versionMinor >= 4 && h.headerSize >= kLasHeaderBytesToRead && headerBytes >= kLasHeaderBytesToRead) {
        std::uint64_t evlrAt = le::u64(bytes + 235);
        const std::uint32_t evlrCount = le::u32(bytes + 243);
        for (std::uint32_t i = 0; i < evlrCount && evlrAt != 0; ++i) {
            std::uint8_t head[kEvlrHeaderBytes];
            if (evlrAt > size || size - evlrAt < kEvlrHeaderBytes || !file.readAt(evlrAt, head, sizeof head))
                return fail("the extended variable-length record at byte " + std::to_string(evlrAt) +
                            " lies beyond the end of the file (truncated file?)");
            const std::uint16_t recordId = le::u16(head + 18);
            const std::uint64_t length = le::u64(head + 20);
            const std::uint64_t payloadAt = evlrAt + kEvlrHeaderBytes;
            if (length > size - payloadAt)
                return fail("the extended variable-length record at byte " + std::to_string(evlrAt) +
                            " runs past the end of the file (truncated file?)");
            if (isCrsRecord(head + 2, recordId) && length <= kLargestCrsRecord) {
                std::vector<std::uint8_t> payload(static_cast<std::size_t>(length));
                if (!payload.empty() && !file.readAt(payloadAt, payload.data(), payload.size()))
                    return fail("reading the extended variable-length record at byte " + std::to_string(evlrAt) +
                                " failed: " + file.lastErrorText());
                records.emplace_back(recordId, payloadText(recordId, payload.data(), payload.size()));
            }
            evlrAt = payloadAt + length;
        }
    }
    tile.crs = joinRecords(std::move(records));
    return true;
}

std::string describeCrs(const std::string& crs) {
    if (crs.empty()) return "none";
    const bool wkt = crs.rfind("2112:", 0) == 0;
    const bool keys = crs.find("34735:") != std::string::npos;
    return wkt && keys ? "OGC WKT and GeoTIFF keys" : wkt ? "OGC WKT" : keys ? "GeoTIFF keys" : "GeoTIFF parameters";
}

}  // namespace ovcf
