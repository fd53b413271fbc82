#include <algorithm>
#include <climits>
#include <fstream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "LazTestFile.h"
#include "TestSupport.h"
#include "import/FileSources.h"
#include "import/LasHeader.h"
#include "import/LasSource.h"
#include "import/LazSource.h"
#include "import/OctreeIndexer.h"
#include "import/laz/ChunkTable.h"
#include "ovcf/ByteOrder.h"
#include "ovcf/ContentSignature.h"

namespace ovcf {
namespace {

using test::TempDir;

bool readAll(PointSource& source, std::vector<PointRecord>& all, std::string& error) {
    std::vector<PointRecord> batch(70000);  // not a multiple of the chunk size
    for (;;) {
        std::size_t count = 0;
        if (!source.read(batch.data(), batch.size(), count, error)) return false;
        if (count == 0) return true;
        all.insert(all.end(), batch.begin(), batch.begin() + count);
    }
}

std::vector<PointRecord> readAll(PointSource& source) {
    std::vector<PointRecord> all;
    std::string error;
    EXPECT_TRUE(readAll(source, all, error)) << error;
    return all;
}

std::uint64_t signatureOf(const std::vector<PointRecord>& points) {
    std::uint64_t sum = 0;
    for (const PointRecord& p : points) sum += pointHash(p);
    return sum;
}

TEST(LazSourceTest, LazTwinsReadTheSameRecordsAndBuildTheSameCache) {
    TempDir dir("laz");
    for (const char* name : {"pdal_autzen_trim", "pdal_simple"}) {
        SCOPED_TRACE(name);
        std::string error;
        LasSource las;
        ASSERT_TRUE(las.open(test::sharedDataFile(std::string(name) + ".las"), 0.0, error)) << error;
        const std::vector<PointRecord> expected = readAll(las);
        // Every field of every record, GPS time, returns and scan angle included.
        const std::vector<std::uint8_t> lasFile = test::fileBytes(test::sharedDataFile(std::string(name) + ".las"));
        const std::vector<std::uint8_t> lasRecords(lasFile.begin() + le::u32(lasFile.data() + 96), lasFile.end());
        for (unsigned threads : {1u, 2u}) {
            LazSource laz;
            laz.setThreads(threads);
            ASSERT_TRUE(laz.open(test::sharedDataFile(std::string(name) + ".laz"), 0.0, error)) << error;
            EXPECT_EQ(laz.step(), las.step());
            EXPECT_EQ(laz.offset(), las.offset());
            EXPECT_EQ(laz.coloursAreEightBit(), las.coloursAreEightBit());
            EXPECT_TRUE(readAll(laz) == expected);
            std::vector<std::uint8_t> records;
            const std::size_t length = laz.header().recordLength;
            ASSERT_TRUE(laz.forEachChunk(
                [&](const std::uint8_t* r, std::uint64_t count) { records.insert(records.end(), r, r + count * length); }, error));
            EXPECT_TRUE(records == lasRecords);
        }

        std::vector<std::vector<test::NodeContent>> built;
        std::vector<FileHeader> headers(2);
        for (const char* extension : {".las", ".laz"}) {
            auto source = openPointFile(test::sharedDataFile(std::string(name) + extension), 0.0, error);
            ASSERT_TRUE(source) << error;
            ImportOptions options;
            options.pointFormat = source->fullPointFormat();
            options.temporaryParent = dir.path();
            // A budget below Autzen's size: the root is split while reading, from the exact box
            // that both sources measure in their first pass.
            options.ramBudget = 8u << 20;
            ImportStats stats;
            const std::string output = dir.file(std::string(name) + extension + ".ovcf");
            ASSERT_TRUE(buildOctree(*source, output, options, stats, error)) << error;
            built.push_back(test::readWholeFile(output, &headers[built.size()]));
        }
        EXPECT_EQ(headers[0].buildSignature, headers[1].buildSignature);
        for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(headers[0].offset[axis], headers[1].offset[axis]);
        ASSERT_EQ(built[0].size(), built[1].size());
        for (std::size_t n = 0; n < built[0].size(); ++n) EXPECT_TRUE(built[0][n].points == built[1][n].points);
    }
}

// Larger files are not decoded before reading: the header's box stands for theirs, and a wrong
// one costs a second reading, not a different cache.
TEST(LazSourceTest, LargerFilesTrustTheHeaderBoxAndReadAgainWhenItIsWrong) {
    TempDir dir("laz_header_box");
    const std::uint16_t length = lasMinimumRecordLength(7);
    const std::vector<std::uint8_t> records = test::variedLayeredRecords(7, 0, 20000, length);
    const std::vector<std::uint8_t> wrongBox = test::layeredLazFile(7, 0, records, length, {5000}, false);
    std::vector<std::uint8_t> exactBox = wrongBox;
    for (int axis = 0; axis < 3; ++axis) {
        std::int32_t low = INT32_MAX, high = INT32_MIN;
        for (std::size_t at = 4 * axis; at < records.size(); at += length) {
            low = std::min(low, static_cast<std::int32_t>(le::u32(&records[at])));
            high = std::max(high, static_cast<std::int32_t>(le::u32(&records[at])));
        }
        le::putF64(exactBox.data() + 179 + 16 * axis, high * 0.01);
        le::putF64(exactBox.data() + 187 + 16 * axis, low * 0.01);
    }
    auto build = [&](const std::vector<std::uint8_t>& bytes, std::uint64_t measuredUpTo, const std::string& name) {
        test::writeFile(dir.file(name + ".laz"), bytes);
        LazSource source;
        source.setMeasuredUpTo(measuredUpTo);
        std::string error;
        EXPECT_TRUE(source.open(dir.file(name + ".laz"), 0.0, error)) << error;
        ImportOptions options;
        options.pointFormat = 2;
        options.maxNodePoints = 1000;  // the root is split while reading
        options.temporaryParent = dir.path();
        ImportStats stats;
        EXPECT_TRUE(buildOctree(source, dir.file(name + ".ovcf"), options, stats, error)) << error;
        return test::readWholeFile(dir.file(name + ".ovcf"));
    };
    const std::pair<const std::vector<std::uint8_t>*, std::string> cases[] = {{&exactBox, "exact"}, {&wrongBox, "wrong"}};
    for (const auto& [bytes, name] : cases) {
        SCOPED_TRACE(name);
        const auto measured = build(*bytes, 1u << 20, name + "_measured");
        const auto trusted = build(*bytes, 1000, name);
        ASSERT_EQ(trusted.size(), measured.size());
        for (std::size_t n = 0; n < measured.size(); ++n) EXPECT_TRUE(trusted[n].points == measured[n].points) << "node " << n;
    }
}

TEST(LazSourceTest, CopcFilesHoldTheirPointsInAnyOrder) {
    std::string error;
    LasSource twin;
    ASSERT_TRUE(twin.open(test::sharedDataFile("pdal_1.2-with-color.las"), 0.0, error)) << error;
    const std::vector<PointRecord> expected = readAll(twin);

    LazSource copc;
    ASSERT_TRUE(copc.open(test::sharedDataFile("pdal_1.2-with-color.copc.laz"), 0.0, error)) << error;
    EXPECT_EQ(copc.header().pointFormat, 7);
    EXPECT_TRUE(copc.vlr().variableChunks());
    const std::vector<PointRecord> points = readAll(copc);
    EXPECT_EQ(points.size(), expected.size());
    EXPECT_EQ(signatureOf(points), signatureOf(expected));

    LazSource lonestar;
    ASSERT_TRUE(lonestar.open(test::sharedDataFile("pdal_lone-star.copc.laz"), 0.0, error)) << error;
    EXPECT_EQ(lonestar.header().pointFormat, 6);
    EXPECT_FALSE(lonestar.hasColour());
    EXPECT_EQ(readAll(lonestar).size(), 518862u);
}

TEST(LazSourceTest, DamagedFilesGiveAClearErrorAndNeverACrash) {
    TempDir dir("laz_damaged");
    const std::string path = dir.file("damaged.laz");
    const std::vector<std::uint8_t> original = test::fileBytes(test::sharedDataFile("pdal_autzen_trim.laz"));
    ASSERT_GT(original.size(), 1000u);
    const std::uint32_t dataStart = le::u32(original.data() + 96);
    const std::uint64_t tableAt = le::u64(original.data() + dataStart);
    auto attempt = [&](const std::vector<std::uint8_t>& bytes) {
        test::writeFile(path, bytes);
        LazSource source;
        std::string error;
        std::vector<PointRecord> points;
        const bool ok = source.open(path, 0.0, error) && readAll(source, points, error);
        if (!ok) {
            EXPECT_EQ(error.rfind("'" + path + "': ", 0), 0u) << error;
        }
        return ok ? std::string() : error;
    };

    std::vector<std::uint8_t> bytes(original.begin(), original.begin() + static_cast<std::ptrdiff_t>(tableAt) - 100);
    EXPECT_NE(attempt(bytes).find("the LAZ chunk table is missing"), std::string::npos);

    // The table rewritten to cut the first chunk inside its raw first point.
    bytes = original;
    bytes.resize(tableAt);
    const auto table = laz::encodeChunkTable({{50000, 20}, {50000, 20}, {10000, 20}}, false);
    bytes.insert(bytes.end(), table.begin(), table.end());
    EXPECT_NE(attempt(bytes).find("chunk 0 at offset " + std::to_string(dataStart + 8) + " is damaged"), std::string::npos);

    // Bytes overwritten anywhere in the chunks: either an error or points, never a crash.
    for (std::uint64_t at = dataStart + 8; at < tableAt; at += (tableAt - dataStart) / 19) {
        bytes = original;
        for (std::uint64_t i = at; i < std::min<std::uint64_t>(at + 16, tableAt); ++i) bytes[i] ^= 0x5A;
        attempt(bytes);
    }
}

TEST(LazSourceTest, UnsupportedContentIsRefusedNamingIt) {
    TempDir dir("laz_refused");
    const std::string path = dir.file("refused.laz");
    const std::vector<std::uint8_t> original = test::fileBytes(test::sharedDataFile("pdal_simple.laz"));
    const std::uint16_t headerSize = le::u16(original.data() + 94);
    // The LASzip record is the file's only record: its items start 54 + 34 bytes after the header.
    const std::size_t items = headerSize + 54 + 34;
    struct Case {
        std::size_t offset;
        std::uint16_t value;
        bool word;
        std::uint16_t recordLength;  // 0: as it is
        const char* message;
    };
    const Case cases[] = {
        {104, 0x84, false, 57, "LAZ point format 4 (with waveform packets) is not supported"},
        {104, 0x8A, false, 67, "LAZ point format 10 (with waveform packets) is not supported"},
        {items, 99, true, 0, "unknown LAZ item type 99 is not supported"},
        {items + 4, 3, true, 0, "LAZ item POINT10 version 3 is not supported"},
        {items, 9, true, 0, "LAZ item WAVEPACKET13 version 2 (waveform packets) is not supported"},
        {headerSize + 2u, 'X', false, 0, "the LAZ file has no LASzip record"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        std::vector<std::uint8_t> bytes = original;
        if (c.word)
            le::putU16(bytes.data() + c.offset, c.value);
        else
            bytes[c.offset] = static_cast<std::uint8_t>(c.value);
        if (c.recordLength) le::putU16(bytes.data() + 105, c.recordLength);
        test::writeFile(path, bytes);
        LazSource source;
        std::string error;
        EXPECT_FALSE(source.open(path, 0.0, error));
        EXPECT_NE(error.find(c.message), std::string::npos) << error;
    }
}

}  // namespace
}  // namespace ovcf
