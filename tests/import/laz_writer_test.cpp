// The LAZ side of export and the layered codecs: our LAZ holds exactly the LAS export's records,
// and point formats 6 to 8 with NIR and extra bytes go through our encoder and back unchanged,
// in fixed and variable chunks.
#include <cstring>
#include <fstream>
#include <iterator>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "LazTestFile.h"
#include "TestSupport.h"
#include "import/LazSource.h"
#include "import/OctreeIndexer.h"
#include "import/PointExport.h"
#include "ovcf/ByteOrder.h"

namespace ovcf {
namespace {

using test::TempDir;

std::vector<std::uint8_t> decodedRecords(LazSource& source) {
    std::vector<std::uint8_t> records;
    std::string error;
    const std::size_t length = source.header().recordLength;
    EXPECT_TRUE(source.forEachChunk(
        [&](const std::uint8_t* r, std::uint64_t count) { records.insert(records.end(), r, r + count * length); }, error))
        << error;
    return records;
}

TEST(LazWriterTest, TheLazExportHoldsTheLasExportsRecords) {
    TempDir dir("laz_export");
    test::RecordSource cloud(test::randomRecords(120001, 300000, 5));  // two whole chunks and a part
    ImportOptions options;
    options.pointFormat = 2;
    options.temporaryParent = dir.path();
    ImportStats stats;
    std::string error;
    const std::string cache = dir.file("cloud.ovcf");
    ASSERT_TRUE(buildOctree(cloud, cache, options, stats, error)) << error;
    ExportStats exported;
    ASSERT_TRUE(exportPoints(cache, dir.file("out.las"), true, exported, error)) << error;
    ASSERT_TRUE(exportPoints(cache, dir.file("out.laz"), true, exported, error)) << error;

    const std::vector<std::uint8_t> las = test::fileBytes(dir.file("out.las"));
    const std::vector<std::uint8_t> laz = test::fileBytes(dir.file("out.laz"));
    ASSERT_GT(las.size(), 375u);
    ASSERT_GT(laz.size(), 375u);
    EXPECT_LT(laz.size(), las.size() / 2);
    // The same header but for where the records start, the record count and the format's flag.
    for (std::size_t i = 0; i < 375; ++i) {
        if (i < 96 || i > 104) {
            EXPECT_EQ(las[i], laz[i]) << "header byte " << i;
        }
    }
    EXPECT_EQ(laz[104], 0x87);
    EXPECT_EQ(le::u32(laz.data() + 100), 1u);

    LazSource source;
    ASSERT_TRUE(source.open(dir.file("out.laz"), 0.0, error)) << error;
    EXPECT_EQ(source.chunkCount(), 3u);
    EXPECT_EQ(source.vlr().chunkSize, 50000u);
    EXPECT_EQ(source.vlr().items.size(), 2u);
    const std::vector<std::uint8_t> records = decodedRecords(source);
    const std::vector<std::uint8_t> expected(las.begin() + le::u32(las.data() + 96), las.end());
    EXPECT_EQ(records.size(), expected.size());
    EXPECT_TRUE(records == expected);
}

TEST(LazWriterTest, LayeredFormatsWithNirAndExtraBytesComeBackUnchanged) {
    TempDir dir("laz_layered");
    struct Case {
        std::uint8_t format;
        std::uint16_t extraBytes;
        std::vector<std::uint32_t> chunks;
        bool variable;
    };
    const Case cases[] = {
        {6, 0, {5000}, false}, {7, 3, {4000}, false}, {8, 0, {3000, 1, 7000, 2}, true}, {8, 5, {6000}, false},
        {6, 2, {1, 2, 9000}, true},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << "format " << int(c.format) << ", " << c.extraBytes << " extra bytes");
        const std::uint16_t length = static_cast<std::uint16_t>(lasMinimumRecordLength(c.format) + c.extraBytes);
        const std::vector<std::uint8_t> records = test::variedLayeredRecords(c.format, c.extraBytes, 12345, length);
        const std::vector<std::uint8_t> file = test::layeredLazFile(c.format, c.extraBytes, records, length, c.chunks, c.variable);
        const std::string path = dir.file("layered.laz");
        std::ofstream(test::fsPath(path), std::ios::binary).write(reinterpret_cast<const char*>(file.data()), file.size());
        LazSource source;
        std::string error;
        ASSERT_TRUE(source.open(path, 0.0, error)) << error;
        EXPECT_EQ(source.vlr().variableChunks(), c.variable);
        EXPECT_TRUE(decodedRecords(source) == records);
        // Decoding only what a cache keeps skips the other layers and gets the same values.
        std::vector<std::uint8_t> kept;
        ASSERT_TRUE(source.forEachChunk([&](const std::uint8_t* r, std::uint64_t n) { kept.insert(kept.end(), r, r + n * length); },
                                        error, source.pointFields()));
        ASSERT_EQ(kept.size(), records.size());
        std::size_t differing = 0;
        for (std::size_t at = 0; at < kept.size(); at += length)
            differing += std::memcmp(&kept[at], &records[at], 14) != 0 || kept[at + 16] != records[at + 16] ||
                         (c.format >= 7 && std::memcmp(&kept[at + 30], &records[at + 30], 6) != 0);
        EXPECT_EQ(differing, 0u);
    }
}

}  // namespace
}  // namespace ovcf
