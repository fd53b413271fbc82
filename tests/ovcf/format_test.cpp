// The file format in memory: header and hierarchy layouts, node keys, the byte planes, the CRC
// and the content signature.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <random>
#include <vector>

#include "OvcfTestFiles.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/Crc32.h"
#include "ovcf/FileFormat.h"
#include "ovcf/MetadataText.h"
#include "ovcf/NodeBlockCodec.h"

using namespace ovcf;
using ovcf::test::keptFields;
using ovcf::test::peek;

namespace {

FileHeader distinctHeader() {
    FileHeader h;
    std::memcpy(h.magic, "OVCF", 4);
    h.versionMajor = 0x0102;
    h.versionMinor = 0x0304;
    h.flags = 0x05060708;
    h.pointFormat = 2;
    h.recordSize = 18;
    h.nodeCount = 0x11223344;
    h.pointCount = 0x0102030405060708ull;
    for (int a = 0; a < 3; ++a) {
        h.step[a] = 0.001 * (a + 1);
        h.offset[a] = -12345.5 - a;
        h.boundsMin[a] = 1.25 + a;
        h.boundsMax[a] = 1e6 + a;
        h.rootOrigin[a] = 0xA0000000u + a;
    }
    h.rootExponent = 27;
    h.deepestLevel = 9;
    h.gridSize = 256;
    h.maxNodePoints = 65536;
    h.reserved = 0xCAFE;
    h.hierarchyOffset = 0x1000000000ull;
    h.hierarchySize = 0x2000000000ull;
    h.deletedMapOffset = 0x3000000000ull;
    h.deletedMapSize = 0x4000000000ull;
    h.deletedCount = 0x5000000000ull;
    h.buildSignature = 0x8877665544332211ull;
    h.currentSignature = 0x1122334455667788ull;
    h.metadataOffset = 0x6000000000ull;
    h.metadataSize = 0x7000000000ull;
    for (std::size_t i = 0; i < sizeof h.reservedTail; ++i) h.reservedTail[i] = std::uint8_t(i * 7);
    return h;
}

}  // namespace

TEST(FileFormat, HeaderFieldsSitAtTheirOffsetsAndRoundTrip) {
    const FileHeader h = distinctHeader();
    std::vector<std::uint8_t> bytes(kHeaderSize + 1, 0xEE);
    encodeHeader(h, bytes.data());
    EXPECT_EQ(bytes[kHeaderSize], 0xEE) << "encoding wrote past 512 bytes";

    EXPECT_EQ(std::memcmp(bytes.data(), "OVCF", 4), 0);
    EXPECT_EQ(bytes[4], 0x02);  // little-endian 0x0102
    EXPECT_EQ(bytes[5], 0x01);
    EXPECT_EQ(peek<std::uint16_t>(bytes, 6), 0x0304);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 20), 0x11223344u);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 24), 0x0102030405060708ull);
    double step1 = 0;
    std::memcpy(&step1, &bytes[40], 8);
    EXPECT_EQ(step1, 0.002);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 136), 0xA0000002u);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 140), 27u);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 156), 0xCAFEu);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 160), 0x1000000000ull);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 192), 0x5000000000ull);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 200), 0x8877665544332211ull);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 208), 0x1122334455667788ull);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 224), 0x7000000000ull);
    EXPECT_EQ(bytes[232 + 3], 21);

    const FileHeader back = decodeHeader(bytes.data());
    std::vector<std::uint8_t> again(kHeaderSize);
    encodeHeader(back, again.data());
    EXPECT_TRUE(std::equal(again.begin(), again.end(), bytes.begin()));
    EXPECT_EQ(back.versionMajor, h.versionMajor);
    EXPECT_EQ(back.boundsMax[2], h.boundsMax[2]);
    EXPECT_EQ(back.offset[0], h.offset[0]);
    EXPECT_EQ(back.maxNodePoints, h.maxNodePoints);
    EXPECT_EQ(back.metadataOffset, h.metadataOffset);
}

TEST(FileFormat, HierarchyRecordFieldsSitAtTheirOffsetsAndRoundTrip) {
    HierarchyRecord r;
    r.level = 7;
    r.childMask = 0xA5;
    r.reserved = 0x1234;
    r.pointCount = 0x01020304;
    r.keyX = 0x11;
    r.keyY = 0x22;
    r.keyZ = 0x33;
    r.crc = 0xDEADBEEF;
    r.blockOffset = 0x0000123456789ABCull;
    r.storedSize = 0x0A0B0C0D;
    r.rawSize = 0x0E0F1011;
    r.firstPoint = 0x1122334455667788ull;
    for (int o = 0; o < 8; ++o) r.children[o] = o == 3 ? kNoChild : 100 + o;

    std::vector<std::uint8_t> bytes(2 * kHierarchyRecordSize, 0);
    encodeHierarchy(&r, 1, bytes.data() + kHierarchyRecordSize);
    EXPECT_EQ(bytes[80], 7);
    EXPECT_EQ(bytes[81], 0xA5);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 84), 0x01020304u);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 96), 0x33u);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 100), 0xDEADBEEFu);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 104), 0x0000123456789ABCull);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 116), 0x0E0F1011u);
    EXPECT_EQ(peek<std::uint64_t>(bytes, 120), 0x1122334455667788ull);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 128), 100u);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 140), kNoChild);
    EXPECT_EQ(peek<std::uint32_t>(bytes, 156), 107u);

    HierarchyRecord back;
    decodeHierarchy(bytes.data() + kHierarchyRecordSize, 1, &back);
    std::vector<std::uint8_t> again(kHierarchyRecordSize);
    encodeHierarchyRecord(back, again.data());
    EXPECT_TRUE(std::equal(again.begin(), again.end(), bytes.begin() + kHierarchyRecordSize));
    EXPECT_EQ(back.key(), (NodeKey{7, 0x11, 0x22, 0x33}));
}

TEST(FileFormat, PointFormatsHaveTheirSizesAndNames) {
    EXPECT_EQ(recordSizeForFormat(0), 12u);
    EXPECT_EQ(recordSizeForFormat(1), 15u);
    EXPECT_EQ(recordSizeForFormat(2), 18u);
    EXPECT_EQ(recordSizeForFormat(3), 0u);
    EXPECT_STREQ(pointFormatName(1), "1 (XYZ+RGB)");
    EXPECT_EQ(deletedMapBytes(0), 0u);
    EXPECT_EQ(deletedMapBytes(1), 1u);
    EXPECT_EQ(deletedMapBytes(9), 2u);
    EXPECT_EQ(deletedMapBytes(~0ull), 0x2000000000000000ull);
    EXPECT_EQ(alignSection(512), 512u);
    EXPECT_EQ(alignSection(513), 528u);
}

TEST(NodeKeys, NamesParentsAndOctantsAgree) {
    EXPECT_EQ(nodeName({0, 0, 0, 0}), "r");
    // x = 101b, y = 011b, z = 000b: digits from the top bit are 1, 2, 3.
    EXPECT_EQ(nodeName({3, 5, 3, 0}), "r123");
    EXPECT_EQ(nodeName({2, 0, 0, 3}), "r44");
    const NodeKey key{4, 9, 6, 13};
    for (std::uint32_t o = 0; o < 8; ++o) {
        const NodeKey child = childKey(key, o);
        EXPECT_EQ(parentKey(child), key);
        EXPECT_EQ(octantOf(child), o);
        EXPECT_EQ(nodeName(child), nodeName(key) + char('0' + o));
    }
}

TEST(NodeKeys, CubeOriginsFollowTheLevel) {
    const std::uint32_t root[3] = {1000, 2000, 3000};
    EXPECT_EQ(nodeOrigin(root, 10, {2, 1, 2, 3}), (std::array<std::uint32_t, 3>{1256, 2512, 3768}));
    // Below the unit cube every level has a side of one unit.
    EXPECT_EQ(nodeCubeSide(10, 12), 1u);
    EXPECT_EQ(nodeOrigin(root, 10, {12, 7, 0, 1}), (std::array<std::uint32_t, 3>{1007, 2000, 3001}));
    EXPECT_EQ(nodeCubeSide(32, 0), std::uint64_t{1} << 32);
    EXPECT_EQ(nodeOrigin(root, 32, {0, 0, 0, 0}), (std::array<std::uint32_t, 3>{1000, 2000, 3000}));
    const std::uint32_t high[3] = {0xFFFFFF80u, 0, 0};
    EXPECT_EQ(nodeOrigin(high, 9, {1, 1, 0, 0})[0], 0x80u);  // wraps like the stored offsets
}

TEST(Crc32, MatchesTheStandardCheckValues) {
    EXPECT_EQ(crc32("123456789", 9), 0xCBF43926u);
    EXPECT_EQ(crc32("", 0), 0u);
    EXPECT_EQ(crc32("a", 1), 0xE8B7BE43u);
    EXPECT_EQ(crc32Bitwise("123456789", 9), 0xCBF43926u);
}

TEST(Crc32, FastFormsAgreeWithTheBitwiseFormAtEveryLengthAndAlignment) {
    std::mt19937 random(7);
    std::vector<std::uint8_t> data(4200);
    for (auto& b : data) b = std::uint8_t(random());
    // Short lengths byte by byte, then lengths around the folding paths' block sizes.
    std::vector<std::size_t> lengths;
    for (std::size_t length = 0; length <= 300; ++length) lengths.push_back(length);
    for (std::size_t blocks : {4u, 5u, 16u, 17u, 31u, 64u})
        for (std::size_t extra : {0u, 1u, 15u, 16u, 17u, 47u, 63u}) lengths.push_back(blocks * 64 + extra);
    for (std::size_t start = 0; start < 9; ++start) {
        for (std::size_t length : lengths) {
            const std::uint32_t expected = crc32Bitwise(data.data() + start, length);
            ASSERT_EQ(crc32(data.data() + start, length), expected) << "start " << start << " length " << length;
            ASSERT_EQ(crc32Portable(data.data() + start, length), expected) << "start " << start << " length " << length;
        }
    }
    // Continuing from the CRC of a prefix gives the CRC of the whole, on every path.
    EXPECT_EQ(crc32(data.data() + 123, 4077, crc32(data.data(), 123)), crc32Bitwise(data.data(), 4200));
    EXPECT_EQ(crc32(data.data() + 1000, 3200, crc32(data.data(), 1000)), crc32Bitwise(data.data(), 4200));
    // Long runs of zeros and of ones, where a wrong fold constant would cancel out least.
    const std::vector<std::uint8_t> zeros(5000, 0), ones(5000, 0xFF);
    EXPECT_EQ(crc32(zeros.data(), zeros.size()), crc32Bitwise(zeros.data(), zeros.size()));
    EXPECT_EQ(crc32(ones.data(), ones.size()), crc32Bitwise(ones.data(), ones.size()));
}

TEST(ContentSignature, PointHashMatchesValuesComputedIndependently) {
    EXPECT_EQ(pointHash(0, 0, 0, 0, 0, 0, 0, 0), 0xab3582b1b20c3859ull);
    EXPECT_EQ(pointHash(123456, 654321, 0xFFFFFFFFu, 4000, 10, 20, 30, 2), 0x5e582888be5fb050ull);
    PointRecord p{1, 2, 3, 0, 200, 200, 200, 0};
    EXPECT_EQ(pointHash(p), 0x27ef1b232fb0695eull);
    const PointRecord points[3] = {{}, {123456, 654321, 0xFFFFFFFFu, 4000, 10, 20, 30, 2}, p};
    EXPECT_EQ(signatureOf(points, 3, 2), 0x317cc65da01c5207ull);
}

TEST(ContentSignature, IsOrderIndependentAndAdditive) {
    std::vector<PointRecord> points = test::pointsInNode(test::testParams(2, true), {0, 0, 0, 0}, 500, 3);
    const std::uint64_t all = signatureOf(points.data(), points.size(), 2);
    EXPECT_EQ(signatureOf(nullptr, 0, 2), 0u);
    std::mt19937 random(11);
    std::shuffle(points.begin(), points.end(), random);
    EXPECT_EQ(signatureOf(points.data(), points.size(), 2), all);
    // Removing a point subtracts its hash.
    const PointRecord removed = points.back();
    points.pop_back();
    EXPECT_EQ(signatureOf(points.data(), points.size(), 2), all - pointHash(removed));
}

TEST(ContentSignature, EveryKeptFieldCountsAndMissingFieldsCountAsZero) {
    const PointRecord base{10, 20, 30, 400, 50, 60, 70, 8};
    const std::uint64_t h = pointHash(base);
    for (int field = 0; field < 8; ++field) {
        PointRecord changed = base;
        switch (field) {
            case 0: changed.x++; break;
            case 1: changed.y++; break;
            case 2: changed.z++; break;
            case 3: changed.intensity++; break;
            case 4: changed.red++; break;
            case 5: changed.green++; break;
            case 6: changed.blue++; break;
            default: changed.classification++; break;
        }
        EXPECT_NE(pointHash(changed), h) << "field " << field;
    }
    EXPECT_EQ(pointHashForFormat(base, 0), pointHash(10, 20, 30, 0, 0, 0, 0, 0));
    EXPECT_EQ(pointHashForFormat(base, 1), pointHash(10, 20, 30, 0, 50, 60, 70, 0));
    EXPECT_EQ(pointHashForFormat(base, 2), h);
}

TEST(NodeBlockCodec, StoresByteKOfPointIAtKTimesCountPlusI) {
    const NodeOrigin origin{100, 200, 300};
    const PointRecord points[2] = {{100 + 0x04030201, 200 + 0x08070605, 300 + 0x0C0B0A09, 0x0E0D, 0x0F, 0x10, 0x11, 0x12},
                                   {100 + 0x24232221, 200 + 0x28272625, 300 + 0x2C2B2A29, 0x2E2D, 0x2F, 0x30, 0x31, 0x32}};
    std::vector<std::uint8_t> raw(36);
    encodeNodeBlock(points, 2, 2, origin, raw.data());
    for (int k = 0; k < 18; ++k) {
        EXPECT_EQ(raw[k * 2 + 0], 0x01 + k) << "byte " << k << " of point 0";
        EXPECT_EQ(raw[k * 2 + 1], 0x21 + k) << "byte " << k << " of point 1";
    }
    // Format 1 keeps red, green, blue in bytes 12 to 14.
    raw.assign(30, 0);
    encodeNodeBlock(points, 2, 1, origin, raw.data());
    EXPECT_EQ(raw[24], 0x0F);
    EXPECT_EQ(raw[25], 0x2F);
    EXPECT_EQ(raw[28], 0x11);
}

TEST(NodeBlockCodec, RoundTripsEveryFormatAndWrapsBelowTheOrigin) {
    for (std::uint32_t format = 0; format <= 2; ++format) {
        const auto params = test::testParams(format, false);
        std::vector<PointRecord> points = test::pointsInNode(params, {0, 0, 0, 0}, 1001, format + 5);
        for (auto& p : points) p = PointRecord{p.x, p.y, p.z, 1234, 5, 6, 7, 9};
        points[3].x = 5;  // below the origin: the stored offset wraps and comes back
        const NodeOrigin origin{1000, 2000, 3000};
        std::vector<std::uint8_t> raw(points.size() * recordSizeForFormat(format));
        encodeNodeBlock(points.data(), points.size(), format, origin, raw.data());
        std::vector<PointRecord> back(points.size());
        decodeNodeBlock(raw.data(), back.size(), format, origin, back.data());
        for (std::size_t i = 0; i < points.size(); ++i)
            ASSERT_EQ(back[i], keptFields(points[i], format)) << "format " << format << " point " << i;
    }
}

TEST(Metadata, ListsSourceCreatedAndModuleWithLineBreaksFlattened) {
    EXPECT_EQ(composeMetadata("scan\r\nday 2", "2026-09-28T10:11:12"),
              "source=scan  day 2\ncreated=2026-09-28T10:11:12\nmodule=0.10.0\n");
    EXPECT_EQ(composeMetadata("", "T"), "created=T\nmodule=0.10.0\n");
    const std::string now = localTimestamp();
    ASSERT_EQ(now.size(), 19u);
    EXPECT_EQ(now[4], '-');
    EXPECT_EQ(now[10], 'T');
    EXPECT_EQ(now[16], ':');
}
