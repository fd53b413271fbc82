// Writes small LAS files for the reader tests: any version 1.0 to 1.4 and point format 0 to 10,
// with every field the importer reads set from a simple point list.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace ovcf::test {

struct LasTestPoint {
    std::int32_t x = 0, y = 0, z = 0;
    std::uint16_t intensity = 0;
    std::uint8_t classification = 0;
    std::uint16_t red = 0, green = 0, blue = 0;
};

struct LasTestFile {
    std::uint8_t versionMinor = 2;
    std::uint8_t pointFormat = 3;
    std::uint16_t extraBytes = 0;  // per record, after the standard fields
    double scale[3] = {0.01, 0.01, 0.01};
    double offset[3] = {1000.0, 2000.0, 0.0};
    bool writeBounds = true;  // false leaves the header's box at zero
    std::string crsWkt;       // not empty: an OGC WKT reference system record ("LASF_Projection" 2112)
    bool crsAfterPoints = false;  // LAS 1.4: the record as an extended one after the points
    std::vector<LasTestPoint> points;

    static std::uint16_t standardLength(std::uint8_t format) {
        static const std::uint16_t lengths[11] = {20, 28, 26, 34, 57, 63, 30, 36, 38, 59, 67};
        return lengths[format];
    }

    std::vector<std::uint8_t> bytes() const {
        const std::uint16_t headerSize = versionMinor >= 4 ? 375 : versionMinor == 3 ? 235 : 227;
        const std::uint16_t recordLength = static_cast<std::uint16_t>(standardLength(pointFormat) + extraBytes);
        const bool crsBefore = !crsWkt.empty() && !crsAfterPoints;
        const bool crsAfter = !crsWkt.empty() && crsAfterPoints;
        const std::size_t vlrBytes = crsBefore ? 54 + crsWkt.size() : 0;
        // A few bytes of padding, as VLRs would leave.
        const std::uint32_t dataOffset = static_cast<std::uint32_t>(headerSize + vlrBytes + 10);
        const std::size_t evlrAt = dataOffset + points.size() * recordLength;
        std::vector<std::uint8_t> out(evlrAt + (crsAfter ? 60 + crsWkt.size() : 0), 0);
        auto put = [&](std::size_t at, const void* v, std::size_t n) { std::memcpy(out.data() + at, v, n); };
        auto put16 = [&](std::size_t at, std::uint16_t v) { put(at, &v, 2); };
        auto put32 = [&](std::size_t at, std::uint32_t v) { put(at, &v, 4); };
        auto put64 = [&](std::size_t at, std::uint64_t v) { put(at, &v, 8); };
        auto putDouble = [&](std::size_t at, double v) { put(at, &v, 8); };
        put(0, "LASF", 4);
        out[24] = 1;
        out[25] = versionMinor;
        put16(94, headerSize);
        put32(96, dataOffset);
        out[104] = pointFormat;
        put16(105, recordLength);
        // LAS 1.4 files with the new formats leave the legacy count at 0.
        put32(107, pointFormat >= 6 ? 0u : static_cast<std::uint32_t>(points.size()));
        double low[3] = {1e300, 1e300, 1e300}, high[3] = {-1e300, -1e300, -1e300};
        for (const LasTestPoint& p : points) {
            const std::int32_t v[3] = {p.x, p.y, p.z};
            for (int a = 0; a < 3; ++a) {
                const double world = offset[a] + scale[a] * v[a];
                low[a] = world < low[a] ? world : low[a];
                high[a] = world > high[a] ? world : high[a];
            }
        }
        for (int a = 0; a < 3; ++a) {
            putDouble(131 + 8 * a, scale[a]);
            putDouble(155 + 8 * a, offset[a]);
            putDouble(179 + 16 * a, writeBounds ? high[a] : 0.0);
            putDouble(187 + 16 * a, writeBounds ? low[a] : 0.0);
        }
        if (versionMinor >= 4) put64(247, points.size());
        if (crsBefore) {
            put32(100, 1);
            put(headerSize + 2, "LASF_Projection", 15);
            put16(headerSize + 18, 2112);
            put16(headerSize + 20, static_cast<std::uint16_t>(crsWkt.size()));
            put(headerSize + 54, crsWkt.data(), crsWkt.size());
        }
        if (crsAfter) {
            put64(235, evlrAt);
            put32(243, 1);
            put(evlrAt + 2, "LASF_Projection", 15);
            put16(evlrAt + 18, 2112);
            put64(evlrAt + 20, crsWkt.size());
            put(evlrAt + 60, crsWkt.data(), crsWkt.size());
        }
        const int colourAt[11] = {-1, -1, 20, 28, -1, 28, -1, 30, 30, -1, 30};
        for (std::size_t i = 0; i < points.size(); ++i) {
            const LasTestPoint& p = points[i];
            const std::size_t r = dataOffset + i * recordLength;
            put32(r, static_cast<std::uint32_t>(p.x));
            put32(r + 4, static_cast<std::uint32_t>(p.y));
            put32(r + 8, static_cast<std::uint32_t>(p.z));
            put16(r + 12, p.intensity);
            if (pointFormat >= 6) {
                out[r + 15] = 0xF0;  // flags that must not leak into the class
                out[r + 16] = p.classification;
            } else {
                out[r + 15] = static_cast<std::uint8_t>(0xE0 | (p.classification & 0x1F));
            }
            if (colourAt[pointFormat] >= 0) {
                put16(r + colourAt[pointFormat], p.red);
                put16(r + colourAt[pointFormat] + 2, p.green);
                put16(r + colourAt[pointFormat] + 4, p.blue);
            }
            for (std::uint16_t e = 0; e < extraBytes; ++e) out[r + standardLength(pointFormat) + e] = 0xAB;
        }
        return out;
    }

    void write(const std::string& path, std::size_t cutAt = 0) const {
        std::vector<std::uint8_t> data = bytes();
        if (cutAt > 0) data.resize(cutAt);
        std::ofstream(path, std::ios::binary).write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    }
};

}  // namespace ovcf::test
