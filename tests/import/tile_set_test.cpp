// A survey of tiles builds one cache: pieces of a file give the file's own cache, twins give every
// point twice, folders and lists name the same tiles, differing reference systems are refused,
// and a damaged tile or a full disk fails the build leaving the old cache and no temporaries.
#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "LasTestFile.h"
#include "import/FileSources.h"
#include "import/OctreeIndexer.h"
#include "import/TileInputs.h"
#include "import/TileSetSource.h"
#include "platform/SystemFile.h"
#include "platform/SystemInfo.h"

namespace ovcf {
namespace {

using test::LasTestFile;
using test::TempDir;

// 40.000 points of a 16-bit coloured scan, in LAS 1.2 format 3.
LasTestFile scan() {
    LasTestFile las;
    const auto records = test::randomRecords(40000, 1 << 14, 17);
    for (std::size_t i = 0; i < records.size(); ++i) {
        const PointRecord& r = records[i];
        las.points.push_back({static_cast<std::int32_t>(r.x), static_cast<std::int32_t>(r.y), static_cast<std::int32_t>(r.z),
                              r.intensity, r.classification, static_cast<std::uint16_t>(r.red * 257),
                              static_cast<std::uint16_t>(r.green * 257), static_cast<std::uint16_t>(r.blue * 257)});
    }
    return las;
}

// The scan cut in four by point index, each piece with its own exact box; the second and fourth
// with their offset moved by 10 m (their integers by 1000 units), which must change nothing.
std::vector<std::string> writePieces(const LasTestFile& whole, const TempDir& dir) {
    std::vector<std::string> paths;
    const std::size_t n = whole.points.size();
    for (std::size_t k = 0; k < 4; ++k) {
        LasTestFile piece = whole;
        piece.points.assign(whole.points.begin() + static_cast<std::ptrdiff_t>(n * k / 4),
                            whole.points.begin() + static_cast<std::ptrdiff_t>(n * (k + 1) / 4));
        if (k % 2 == 1) {
            piece.offset[0] += 10.0;
            for (test::LasTestPoint& p : piece.points) p.x -= 1000;
        }
        paths.push_back(dir.file("piece" + std::to_string(k) + ".las"));
        piece.write(paths.back());
    }
    return paths;
}

bool buildTiles(const std::vector<std::string>& paths, const std::string& output, const ImportOptions& options,
                std::string& error, ImportStats* statsOut = nullptr, TileSetOptions tileOptions = {}) {
    TileSetSource tiles;
    if (!tiles.open(paths, tileOptions, error)) return false;
    ImportStats stats;
    const bool built = buildOctree(tiles, output, options, stats, error);
    if (statsOut) *statsOut = stats;
    if (built) {
        EXPECT_EQ(tiles.pointsPerTile().size(), paths.size());
    }
    return built;
}

TEST(TileSetTest, FourPiecesOfAFileBuildTheFilesOwnCache) {
    TempDir dir("tiles_pieces");
    TempDir scratch("tiles_pieces_scratch");
    const LasTestFile whole = scan();
    whole.write(dir.file("whole.las"));
    const std::vector<std::string> pieces = writePieces(whole, dir);
    ImportOptions options = test::smallOptions(scratch);
    options.sourceDescription = "survey";
    std::string error;

    auto single = openPointFile(dir.file("whole.las"), 0.0, error);
    ASSERT_TRUE(single) << error;
    ImportStats stats;
    ASSERT_TRUE(buildOctree(*single, dir.file("whole.ovcf"), options, stats, error)) << error;
    TileSetSource tiles;
    ASSERT_TRUE(tiles.open(pieces, {}, error)) << error;
    ASSERT_TRUE(buildOctree(tiles, dir.file("pieces.ovcf"), options, stats, error)) << error;
    EXPECT_TRUE(test::cacheBytesApartFromCreation(dir.file("pieces.ovcf")) ==
                test::cacheBytesApartFromCreation(dir.file("whole.ovcf")));
    EXPECT_EQ(tiles.pointsPerTile(), (std::vector<std::uint64_t>{10000, 10000, 10000, 10000}));
}

TEST(TileSetTest, HeadersThatMissPointsAreCorrectedByASecondReading) {
    TempDir dir("tiles_headers");
    TempDir scratch("tiles_headers_scratch");
    const LasTestFile whole = scan();
    std::vector<std::string> pieces = writePieces(whole, dir);
    // Every piece's header claims a box 1 m short in x: the points prove it wrong.
    for (const std::string& path : pieces) {
        std::vector<std::uint8_t> bytes = test::wholeFile(path);
        double maxX = 0;
        std::memcpy(&maxX, bytes.data() + 179, 8);
        maxX -= 1.0;
        std::memcpy(bytes.data() + 179, &maxX, 8);
        test::writeFile(path, bytes);
    }
    whole.write(dir.file("whole.las"));
    std::string error;
    auto single = openPointFile(dir.file("whole.las"), 0.0, error);
    ASSERT_TRUE(single) << error;
    ImportStats expected, stats;
    ASSERT_TRUE(buildOctree(*single, dir.file("whole.ovcf"), test::smallOptions(scratch), expected, error)) << error;
    ASSERT_TRUE(buildTiles(pieces, dir.file("pieces.ovcf"), test::smallOptions(scratch), error, &stats)) << error;
    EXPECT_EQ(stats.pointsWritten, whole.points.size());
    FileHeader a, b;
    ASSERT_EQ(OvcfReader::probeHeader(dir.file("whole.ovcf"), a, error), ProbeValid);
    ASSERT_EQ(OvcfReader::probeHeader(dir.file("pieces.ovcf"), b, error), ProbeValid);
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(a.boundsMin[axis], b.boundsMin[axis], 1e-6);
        EXPECT_NEAR(a.boundsMax[axis], b.boundsMax[axis], 1e-6);
    }
}

TEST(TileSetTest, TheLasAndLazTwinsTogetherGiveEveryPointTwice) {
    TempDir dir("tiles_twins");
    TempDir scratch("tiles_twins_scratch");
    const std::string las = test::sharedDataFile("pdal_autzen_trim.las");
    std::string error;
    auto single = openPointFile(las, 0.0, error);
    ASSERT_TRUE(single) << error;
    ImportStats once, twice;
    ASSERT_TRUE(buildOctree(*single, dir.file("once.ovcf"), test::smallOptions(scratch), once, error)) << error;
    ASSERT_TRUE(buildTiles({las, test::sharedDataFile("pdal_autzen_trim.laz")}, dir.file("twice.ovcf"),
                           test::smallOptions(scratch), error, &twice))
        << error;
    EXPECT_EQ(twice.pointsWritten, 2 * once.pointsWritten);
    // The signature sums a hash a point: the same points twice, on the same grid, sum twice.
    EXPECT_EQ(twice.signatureOut, 2 * once.signatureOut);
}

TEST(TileSetTest, AFolderAndAListNameTheSameTilesAsTheirFiles) {
    TempDir dir("tiles_inputs");
    for (const char* name : {"b.LAZ", "a.las", "c.Las", "notes.txt", "d.lasx"}) test::writeFile(dir.file(name), std::string("x"));
    std::string reason;
    ASSERT_EQ(createFolder(dir.file("sub"), reason), FolderCreation::Created) << reason;
    test::writeFile(dir.file("sub/e.las"), std::string("x"));
    test::writeFile(dir.file("list.txt"), std::string("a.las\r\n\n  b.LAZ  \n") + dir.file("c.Las") + "\n");
    const std::vector<std::string> named = {dir.file("a.las"), dir.file("b.LAZ"), dir.file("c.Las")};

    struct Case {
        const char* name;
        std::vector<TileInput> inputs;
        bool recursive;
        std::vector<std::string> expected;
    };
    std::vector<std::string> withSub = named;
    withSub.push_back(dir.file("sub/e.las"));
    const Case cases[] = {
        {"named files", {{named[0]}, {named[1]}, {named[2]}}, false, named},
        {"folder", {{dir.path()}}, false, named},
        {"folder, recursive", {{dir.path()}}, true, withSub},
        {"list", {{dir.file("list.txt"), true}}, false, named},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::string> files;
        std::string error;
        ASSERT_TRUE(expandTileInputs(c.inputs, c.recursive, files, error)) << error;
        EXPECT_EQ(files, c.expected);
    }
    std::vector<std::string> files;
    std::string error;
    EXPECT_FALSE(expandTileInputs({{dir.file("sub/none"), false}, {dir.file("missing.txt"), true}}, false, files, error));
    EXPECT_NE(error.find("missing.txt"), std::string::npos) << error;
}

TEST(TileSetTest, TilesWithDifferentReferenceSystemsAreRefusedUnlessIgnored) {
    TempDir dir("tiles_crs");
    TempDir scratch("tiles_crs_scratch");
    const std::string shared = test::sharedDataFile("laspy_file_with_both_wkt_and_geotiff_vlrs.las");
    TileHeader header;
    std::string error;
    ASSERT_TRUE(readTileHeader(shared, header, error)) << error;
    EXPECT_EQ(describeCrs(header.crs), "OGC WKT and GeoTIFF keys");

    // A copy whose WKT names another datum; another LAS file in the same place, without CRS.
    std::vector<std::uint8_t> bytes = test::wholeFile(shared);
    const std::string datum = "Nebraska_ft";
    auto at = std::search(bytes.begin(), bytes.end(), datum.begin(), datum.end());
    ASSERT_NE(at, bytes.end());
    *at = 'X';
    const std::string other = test::writeFile(dir.file("other_datum.las"), bytes);
    const std::string same = test::writeFile(dir.file("same.las"), test::wholeFile(shared));
    LasTestFile plain;
    plain.versionMinor = 4;
    plain.pointFormat = 6;
    plain.scale[0] = plain.scale[1] = plain.scale[2] = 0.01;
    plain.offset[0] = header.header.min[0];
    plain.offset[1] = header.header.min[1];
    plain.offset[2] = header.header.min[2];
    plain.points = {{0, 0, 0}, {100, 100, 100}};
    plain.write(dir.file("no_crs.las"));
    // The same WKT as an extended record after the points, and as an ordinary one.
    plain.crsWkt = "PROJCS[\"test\"]";
    plain.write(dir.file("wkt_before.las"));
    plain.crsAfterPoints = true;
    plain.write(dir.file("wkt_after.las"));

    struct Case {
        std::vector<std::string> tiles;
        const char* refusal;  // null: builds
    };
    const Case cases[] = {
        {{shared, same}, nullptr},
        {{shared, other}, "other_datum.las"},
        {{same, dir.file("no_crs.las")}, "no_crs.las"},
        {{dir.file("wkt_before.las"), dir.file("wkt_after.las")}, nullptr},
        {{dir.file("wkt_before.las"), dir.file("no_crs.las")}, "no_crs.las"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tiles.back());
        const std::string output = dir.file("out.ovcf");
        const bool built = buildTiles(c.tiles, output, test::smallOptions(scratch), error);
        EXPECT_EQ(built, c.refusal == nullptr) << error;
        if (c.refusal) {
            EXPECT_NE(error.find("different coordinate reference systems"), std::string::npos) << error;
            EXPECT_NE(error.find(c.tiles.front()), std::string::npos) << error;
            EXPECT_NE(error.find(c.refusal), std::string::npos) << error;
            TileSetOptions ignoring;
            ignoring.ignoreCrs = true;
            EXPECT_TRUE(buildTiles(c.tiles, output, test::smallOptions(scratch), error, nullptr, ignoring)) << error;
        }
        SystemFile::deleteFile(output);
    }
}

TEST(TileSetTest, ADamagedTileIsNamedAndTheOldCacheStays) {
    TempDir dir("tiles_damaged");
    TempDir scratch("tiles_damaged_scratch");
    const LasTestFile whole = scan();
    const std::vector<std::string> pieces = writePieces(whole, dir);
    const std::string cache = dir.file("survey.ovcf");
    std::string error;
    ASSERT_TRUE(buildTiles(pieces, cache, test::smallOptions(scratch), error)) << error;
    const std::vector<std::uint8_t> old = test::wholeFile(cache);
    const std::vector<std::uint8_t> good = test::wholeFile(pieces[2]);
    const std::size_t record = 227 + 10 + 34 * 5000;  // the 5001st point of the third piece

    struct Case {
        const char* name;
        std::function<void(std::vector<std::uint8_t>&)> damage;
        std::string reason;
        std::string offset;
    };
    const Case cases[] = {
        {"truncated", [](std::vector<std::uint8_t>& b) { b.resize(b.size() - 100); }, "truncated", "offset 237"},
        {"records", [&](std::vector<std::uint8_t>& b) { std::memset(b.data() + record, 0x7F, 4); }, "point 5000",
         "at byte " + std::to_string(record)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::uint8_t> bytes = good;
        c.damage(bytes);
        test::writeFile(pieces[2], bytes);
        EXPECT_FALSE(buildTiles(pieces, cache, test::smallOptions(scratch), error));
        EXPECT_NE(error.find(pieces[2]), std::string::npos) << error;
        EXPECT_NE(error.find(c.reason), std::string::npos) << error;
        EXPECT_NE(error.find(c.offset), std::string::npos) << error;
        EXPECT_TRUE(test::wholeFile(cache) == old);
        EXPECT_EQ(test::folderEntries(dir.path()).size(), pieces.size() + 1) << "a temporary file was left";
        EXPECT_TRUE(test::folderEntries(scratch.path()).empty());
    }
}

// Counts writes and fails the `failAt`-th one as a full disk would.
struct WriteFault {
    int failAt = 0;
    int seen = 0;
    static bool hook(SystemFile::Operation operation, void* context) {
        auto* fault = static_cast<WriteFault*>(context);
        return operation == SystemFile::Operation::Write && ++fault->seen == fault->failAt;
    }
};

TEST(TileSetTest, AFullDiskStopsTheBuildNamingTheFolderAndLeavesTheOldCache) {
    TempDir dir("tiles_full");
    TempDir scratch("tiles_full_scratch");
    const std::vector<std::string> pieces = writePieces(scan(), dir);
    const std::string cache = dir.file("survey.ovcf");
    std::string error;
    ImportOptions options = test::smallOptions(scratch, 1u << 20);  // buckets spill to disk
    ASSERT_TRUE(buildTiles({pieces[0], pieces[1]}, cache, options, error)) << error;
    const std::vector<std::uint8_t> old = test::wholeFile(cache);

    WriteFault counting;
    ImportStats stats;
    SystemFile::setFaultHook(&WriteFault::hook, &counting);
    const bool counted = buildTiles(pieces, dir.file("counted.ovcf"), options, error, &stats);
    SystemFile::setFaultHook(nullptr, nullptr);
    ASSERT_TRUE(counted) << error;
    ASSERT_GT(stats.temporaryBytes, 0u);
    SystemFile::deleteFile(dir.file("counted.ovcf"));

    for (int failAt : {1, counting.seen / 2, counting.seen}) {
        SCOPED_TRACE(failAt);
        WriteFault fault{failAt};
        SystemFile::setFaultHook(&WriteFault::hook, &fault);
        const bool built = buildTiles(pieces, cache, options, error);
        SystemFile::setFaultHook(nullptr, nullptr);
        EXPECT_FALSE(built);
        EXPECT_NE(error.find(SystemFile::diskFullText()), std::string::npos) << error;
        EXPECT_TRUE(error.find(scratch.path()) != std::string::npos || error.find(dir.path()) != std::string::npos)
            << error;
        EXPECT_TRUE(test::wholeFile(cache) == old);
        EXPECT_EQ(test::folderEntries(dir.path()).size(), pieces.size() + 1) << "a temporary file was left";
        EXPECT_TRUE(test::folderEntries(scratch.path()).empty());
    }
}

}  // namespace
}  // namespace ovcf
