// ovcf export's engine: a cache out to LAS, LAZ, PLY and XYZ, read back with the project's own point
// sources; deleted points left out unless all are asked for; no partial file on failure.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <tuple>

#include "ImportTestSupport.h"
#include "import/FileSources.h"
#include "import/OctreeIndexer.h"
#include "import/PointExport.h"
#include "ovcf/DeletedMapCommit.h"
#include "TestSupport.h"

namespace ovcf::test {
namespace {

// x, y, z in cache steps from the world origin, colour, intensity, class.
using Key = std::tuple<long long, long long, long long, int, int, int, int, int>;

Key keyOf(double x, double y, double z, const PointRecord& p, double step, bool attributes) {
    return {std::llround(x / step), std::llround(y / step), std::llround(z / step), p.red, p.green, p.blue,
            attributes ? p.intensity : 0, attributes ? p.classification : 0};
}

std::vector<Key> readPointFile(const std::string& path, double step, bool attributes) {
    std::string error;
    std::unique_ptr<PointSource> source = openPointFile(path, step, error);
    EXPECT_TRUE(source) << error;
    std::vector<Key> keys;
    if (!source) return keys;
    const auto offset = source->offset();
    const auto steps = source->step();
    for (const PointRecord& p : readPoints(*source))
        keys.push_back(keyOf(offset[0] + steps[0] * p.x, offset[1] + steps[1] * p.y, offset[2] + steps[2] * p.z, p, step,
                             attributes));
    std::sort(keys.begin(), keys.end());
    return keys;
}

class PointExportTest : public ::testing::Test {
protected:
    void SetUp() override {
        cache = dir.file("scan.ovcf");
        RecordSource source(randomRecords(30000, 200000, 11));
        ImportOptions options;
        options.pointFormat = 2;
        options.maxNodePoints = 4000;
        options.temporaryParent = dir.path();
        ImportStats stats;
        std::string error;
        ASSERT_TRUE(buildOctree(source, cache, options, stats, error)) << error;

        // Every third point is deleted and confirmed into the file.
        FileHeader header;
        const std::vector<NodeContent> nodes = readWholeFile(cache, &header);
        step = header.step[0];
        std::vector<std::uint8_t> map(static_cast<std::size_t>(deletedMapBytes(header.pointCount)), 0);
        std::uint64_t deleted = 0;
        for (const NodeContent& node : nodes)
            for (std::size_t j = 0; j < node.points.size(); ++j) {
                const std::uint64_t g = node.record.firstPoint + j;
                const PointRecord& p = node.points[j];
                const double x = header.offset[0] + step * p.x, y = header.offset[1] + step * p.y,
                             z = header.offset[2] + step * p.z;
                if (g % 3 == 0) {
                    map[g / 8] |= std::uint8_t(1u << (g % 8));
                    ++deleted;
                } else {
                    survivors.push_back(keyOf(x, y, z, p, step, true));
                }
                everyPoint.push_back(keyOf(x, y, z, p, step, true));
            }
        ASSERT_TRUE(commitDeletedMap(cache, map.data(), map.size(), deleted, error)) << error;
        std::sort(survivors.begin(), survivors.end());
        std::sort(everyPoint.begin(), everyPoint.end());
    }

    static std::vector<Key> withoutAttributes(std::vector<Key> keys) {
        for (Key& k : keys) std::get<6>(k) = std::get<7>(k) = 0;
        std::sort(keys.begin(), keys.end());
        return keys;
    }

    TempDir dir{"orvane_export"};
    std::string cache;
    double step = 0.01;
    std::vector<Key> survivors, everyPoint;
};

TEST_F(PointExportTest, EveryFormatReadsBackAsTheSurvivingPoints) {
    struct Format {
        const char* name;
        bool attributes;  // intensity and class come back
    } formats[] = {{"out.las", true}, {"out.laz", true}, {"OUT.PLY", false}, {"out.xyz", false}};
    for (const Format& f : formats) {
        ExportStats stats;
        std::string error;
        ASSERT_TRUE(exportPoints(cache, dir.file(f.name), false, stats, error)) << f.name << ": " << error;
        EXPECT_EQ(stats.written, survivors.size());
        EXPECT_EQ(stats.skipped, everyPoint.size() - survivors.size());
        const std::vector<Key> back = readPointFile(dir.file(f.name), step, f.attributes);
        EXPECT_EQ(back, f.attributes ? survivors : withoutAttributes(survivors)) << f.name;
    }
    ExportStats stats;
    std::string error;
    ASSERT_TRUE(exportPoints(cache, dir.file("all.las"), true, stats, error)) << error;
    EXPECT_EQ(readPointFile(dir.file("all.las"), step, true), everyPoint);
}

TEST_F(PointExportTest, AFailedExportLeavesNoFileBehind) {
    struct Case {
        std::string output;
        const char* errorStart;
    } cases[] = {
        {dir.file("scan.abc"), "unknown output format '.abc'"},
        {dir.file("missing/folder/out.las"), "cannot create '"},
        {dir.file("missing/folder/out.laz"), "cannot create '"},
        {cache, "the output would overwrite the cache"},
        {dir.path() + "/./scan.ovcf", "the output would overwrite the cache"},  // the same file, spelt otherwise
    };
    for (const Case& c : cases) {
        ExportStats stats;
        std::string error;
        EXPECT_FALSE(exportPoints(cache, c.output, false, stats, error));
        EXPECT_EQ(error.rfind(c.errorStart, 0), 0u) << error;
        if (c.output.find("scan.ovcf") == std::string::npos) {
            EXPECT_FALSE(fileExists(c.output));
        }
    }
    // Cancelled halfway: the compressed chunks already written go with the temporary file.
    ExportStats stats;
    std::string error;
    int calls = 0;
    const auto cancelSecondCall = [](double, void* context) { return ++*static_cast<int*>(context) < 2; };
    EXPECT_FALSE(exportPoints(cache, dir.file("cancelled.laz"), true, stats, error, cancelSecondCall, &calls));
    EXPECT_EQ(error, "the export was cancelled");
    EXPECT_FALSE(fileExists(dir.file("cancelled.laz")));
    const std::vector<std::string> left = folderEntries(dir.path());
    EXPECT_EQ(std::count_if(left.begin(), left.end(), [](const std::string& n) { return n.find(".part") != std::string::npos; }), 0);
}

TEST(PointExportRealData, AnAirborneScanGoesThroughTheCacheAndBackUnchanged) {
    TempDir dir("orvane_export_las");
    const std::string las = sharedDataFile("pdal_autzen_trim.las");
    std::string error;
    std::unique_ptr<PointSource> source = openPointFile(las, 0.0, error);
    ASSERT_TRUE(source) << error;
    ImportOptions options;
    options.pointFormat = source->fullPointFormat();
    options.temporaryParent = dir.path();
    ImportStats stats;
    ASSERT_TRUE(buildOctree(*source, dir.file("autzen.ovcf"), options, stats, error)) << error;
    ExportStats exported;
    ASSERT_TRUE(exportPoints(dir.file("autzen.ovcf"), dir.file("autzen.las"), false, exported, error)) << error;
    const double step = source->step()[0];
    EXPECT_EQ(readPointFile(dir.file("autzen.las"), step, true), readPointFile(las, step, true));
}

}  // namespace
}  // namespace ovcf::test
