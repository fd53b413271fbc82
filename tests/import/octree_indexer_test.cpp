#include <algorithm>
#include <cstring>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "core/Log.h"
#include "import/ImportConsistency.h"
#include "import/ImportSummary.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"
#include "import/RootCube.h"

namespace ovcf {
namespace {

using test::RecordSource;
using test::smallOptions;
using test::TempDir;

struct Build {
    bool ok = false;
    std::string error;
    ImportStats stats;
};

Build build(PointSource& source, const std::string& output, const ImportOptions& options) {
    Build result;
    result.ok = buildOctree(source, output, options, result.stats, result.error);
    return result;
}

std::vector<PointRecord> sortedPoints(std::vector<PointRecord> points) {
    std::sort(points.begin(), points.end(), [](const PointRecord& a, const PointRecord& b) { return test::operator<(a, b); });
    return points;
}

std::vector<PointRecord> allPoints(const std::vector<test::NodeContent>& nodes) {
    std::vector<PointRecord> all;
    for (const auto& node : nodes) all.insert(all.end(), node.points.begin(), node.points.end());
    return all;
}

TEST(OctreeIndexerTest, CloudWithinTheNodeLimitIsOneLeafInSourceOrder) {
    TempDir dir("indexer");
    for (std::size_t count : {1u, 1000u}) {  // one point: the smallest root cube, of side 2
        const auto points = test::randomRecords(count, 5000, 2);
        RecordSource source(points);
        const std::string file = dir.file("leaf" + std::to_string(count) + ".ovcf");
        const Build b = build(source, file, smallOptions(dir));
        ASSERT_TRUE(b.ok) << b.error;
        FileHeader header;
        const auto nodes = test::readWholeFile(file, &header);
        ASSERT_EQ(nodes.size(), 1u);
        EXPECT_EQ(nodes[0].points, points);
        EXPECT_EQ(nodes[0].record.childMask, 0);
        EXPECT_EQ(header.hierarchySize, 80u);
        EXPECT_EQ(b.stats.leafCount, 1u);
        EXPECT_EQ(b.stats.deepestLevel, 0u);
        if (count == 1) {
            EXPECT_EQ(header.rootExponent, 1u);
        }
    }
}

// Points at one position cannot be split: they end in one leaf of one unit, or are refused when
// more than an inseparable leaf may hold, or than the budget holds as one node (1,5 MiB for
// 30.000 points against 1 MiB), in memory and spilled alike.
TEST(OctreeIndexerTest, CoincidentPointsEndInALeafOfOneUnitOrAreRefused) {
    const char* inseparable = "node r0 contains 2.999 points that cannot be separated: the cloud has too many points "
                              "coincident at the quantisation resolution of the source file";
    struct Case {
        std::size_t count;
        std::uint64_t budget, largestInseparable;
        const char* error;  // nullptr: built
    };
    for (const Case& c : {Case{3000, 256u << 20, kLargestInseparableNode, nullptr},
                          Case{3000, 256u << 20, 2000, inseparable}, Case{3000, 1u << 20, 2000, inseparable},
                          Case{30000, 1u << 20, kLargestInseparableNode,
                               "node r0 contains 29.999 coincident points, more than a RAM budget of 1,00 MiB can hold "
                               "in one node: raise the budget"}}) {
        SCOPED_TRACE(c.count);
        TempDir dir("indexer");
        RecordSource source(std::vector<PointRecord>(c.count, PointRecord{77, 88, 99, 1, 2, 3, 4, 5}));
        ImportOptions options = smallOptions(dir, c.budget);
        options.largestInseparableNode = c.largestInseparable;
        const Build b = build(source, dir.file("same.ovcf"), options);
        if (c.error) {
            EXPECT_FALSE(b.ok);
            EXPECT_EQ(b.error, c.error);
            EXPECT_TRUE(test::folderEntries(dir.path()).empty());
            continue;
        }
        ASSERT_TRUE(b.ok) << b.error;
        FileHeader header;
        const auto nodes = test::readWholeFile(dir.file("same.ovcf"), &header);
        ASSERT_EQ(header.rootExponent, 1u);
        ASSERT_EQ(nodes.size(), 2u);
        EXPECT_EQ(nodes[0].points.size(), 1u);  // the sample of the root
        EXPECT_EQ(nodes[1].record.level, header.rootExponent);
        EXPECT_EQ(nodes[1].points.size(), 2999u);
        EXPECT_EQ(b.stats.largestNode, 2999u);
    }
}

TEST(OctreeIndexerTest, LowBudgetBoundsTheNodeSample) {
    TempDir dir("indexer");
    // Grid 256 would keep nearly every point of a 300.000-point root as its sample.
    RecordSource source(test::randomRecords(300000, 1 << 16, 8));
    ImportOptions options = smallOptions(dir, 16u << 20);
    options.gridSize = 256;
    const Build b = build(source, dir.file("grid.ovcf"), options);
    ASSERT_TRUE(b.ok) << b.error;
    FileHeader header;
    const auto nodes = test::readWholeFile(dir.file("grid.ovcf"), &header);
    EXPECT_EQ(header.gridSize, 32u);
    for (const auto& node : nodes) {
        if (node.record.childMask != 0) {
            EXPECT_LE(node.points.size(), 32u * 32u * 32u);
        }
    }
    EXPECT_EQ(test::folderEntries(dir.path()), std::vector<std::string>{"grid.ovcf"});
}

// The properties every built file must have, checked against the points the source gave.
void expectSoundOctree(const std::string& file, const std::vector<PointRecord>& input, const ImportOptions& options) {
    FileHeader header;
    const auto nodes = test::readWholeFile(file, &header);
    ASSERT_FALSE(nodes.empty());
    const std::uint64_t cells = std::uint64_t{options.gridSize} * options.gridSize * options.gridSize;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        const HierarchyRecord& r = nodes[i].record;
        const bool leaf = r.childMask == 0;
        if (!leaf) {
            EXPECT_LE(r.pointCount, cells) << "inner node " << i << " keeps more than one point a cell";
        } else if (r.level < header.rootExponent) {
            EXPECT_LE(r.pointCount, std::max<std::uint64_t>(options.maxNodePoints, cells));
        }
        for (std::uint32_t o = 0; o < 8; ++o) {
            if (r.children[o] != kNoChild) {
                EXPECT_GT(r.children[o], i) << "child written before its parent";
            }
        }
        const auto origin = nodeOrigin(header, r.key());
        const std::uint64_t side = nodeCubeSide(header.rootExponent, r.level);
        for (const PointRecord& p : nodes[i].points) {
            EXPECT_LT(std::uint32_t(p.x - origin[0]), side);
            EXPECT_LT(std::uint32_t(p.y - origin[1]), side);
            EXPECT_LT(std::uint32_t(p.z - origin[2]), side);
        }
    }
    EXPECT_EQ(sortedPoints(allPoints(nodes)), sortedPoints(input));
    EXPECT_EQ(header.buildSignature, signatureOf(input.data(), input.size(), header.pointFormat));
    EXPECT_EQ(header.currentSignature, header.buildSignature);
}

TEST(OctreeIndexerTest, EveryPointIsWrittenOnceInsideItsNode) {
    TempDir dir("indexer");
    const auto points = test::randomRecords(60000, 1 << 16, 3);
    RecordSource source(points);
    const ImportOptions options = smallOptions(dir);
    const Build b = build(source, dir.file("sound.ovcf"), options);
    ASSERT_TRUE(b.ok) << b.error;
    expectSoundOctree(dir.file("sound.ovcf"), points, options);
    EXPECT_EQ(b.stats.signatureIn, b.stats.signatureOut);
    EXPECT_EQ(b.stats.pointsRead, 60000u);
    EXPECT_EQ(b.stats.pointsWritten, 60000u);
    EXPECT_GT(b.stats.nodeCount, 8u);
    EXPECT_EQ(b.stats.temporaryBytes, 0u);
    std::uint64_t perLevel = 0;
    for (const LevelStats& level : b.stats.levels) perLevel += level.points;
    EXPECT_EQ(perLevel, 60000u);
    EXPECT_TRUE(test::folderEntries(dir.path()).size() == 1u);  // only the output file
}

void expectSameOctree(const std::string& a, const std::string& b) {
    const auto left = test::readWholeFile(a);
    const auto right = test::readWholeFile(b);
    ASSERT_EQ(left.size(), right.size());
    for (std::size_t i = 0; i < left.size(); ++i) {
        EXPECT_EQ(std::memcmp(&left[i].record, &right[i].record, sizeof(HierarchyRecord)), 0) << "node " << i;
        EXPECT_EQ(left[i].points, right[i].points) << "node " << i;
    }
}

TEST(OctreeIndexerTest, SpilledRunWritesTheSameOctreeAsTheRunInMemory) {
    TempDir dir("indexer");
    const auto points = test::randomRecords(200000, 1 << 18, 4);
    ImportOptions options = smallOptions(dir);
    options.gridSize = 32;

    RecordSource inMemory(points);
    const Build memoryRun = build(inMemory, dir.file("memory.ovcf"), options);
    ASSERT_TRUE(memoryRun.ok) << memoryRun.error;
    EXPECT_EQ(memoryRun.stats.temporaryBytes, 0u);

    options.ramBudget = 4 << 20;  // 52,428 points a bucket, and a grid-32 sample still fits
    RecordSource onDisk(points);
    const Build diskRun = build(onDisk, dir.file("disk.ovcf"), options);
    ASSERT_TRUE(diskRun.ok) << diskRun.error;
    EXPECT_GT(diskRun.stats.temporaryBytes, 200000u * 18u);  // more than the root bucket alone

    expectSameOctree(dir.file("memory.ovcf"), dir.file("disk.ovcf"));
    expectSoundOctree(dir.file("disk.ovcf"), points, options);
    EXPECT_EQ(test::folderEntries(dir.path()).size(), 2u);  // the two outputs, no scratch left
}

// A source that announces its quantised bounds before it is read, truthfully or not.
class AnnouncingSource final : public PointSource {
public:
    AnnouncingSource(std::vector<PointRecord> points, const std::array<std::uint32_t, 3>& min,
                     const std::array<std::uint32_t, 3>& max)
        : inner_(std::move(points)), min_(min), max_(max) {}
    std::uint64_t pointCount() const override { return inner_.pointCount(); }
    std::array<double, 3> step() const override { return inner_.step(); }
    std::array<double, 3> offset() const override { return inner_.offset(); }
    bool hasColour() const override { return true; }
    Bounds3 bounds() const override { return {}; }
    bool read(PointRecord* out, std::size_t capacity, std::size_t& count, std::string& error) override {
        return inner_.read(out, capacity, count, error);
    }
    std::string description() const override { return inner_.description(); }
    std::uint32_t fullPointFormat() const override { return 2; }
    bool quantizedBounds(std::array<std::uint32_t, 3>& min, std::array<std::uint32_t, 3>& max) const override {
        min = min_;
        max = max_;
        return true;
    }

private:
    RecordSource inner_;
    std::array<std::uint32_t, 3> min_, max_;
};

// A root that cannot stay in memory is split while the source is read when the source knows its
// bounds: the same octree as splitting it from a bucket, without the root's bucket on disk. A
// source whose points leave the bounds it announced fails and leaves nothing behind.
TEST(OctreeIndexerTest, RootSplitWhileReadingWritesTheSameOctree) {
    TempDir dir("indexer");
    const test::HostCloud host = test::hostCloud(200000, 11);
    ImportOptions options = smallOptions(dir);
    options.gridSize = 32;
    MemoryCloud inMemory(host.xyz.data(), host.colours.data(), host.size(), 0.001);
    ASSERT_TRUE(build(inMemory, dir.file("memory.ovcf"), options).ok);
    options.ramBudget = 8 << 20;  // 104,857 points a bucket: the root does not fit
    MemoryCloud whileReading(host.xyz.data(), host.colours.data(), host.size(), 0.001);
    const Build split = build(whileReading, dir.file("split.ovcf"), options);
    ASSERT_TRUE(split.ok) << split.error;
    EXPECT_LT(split.stats.temporaryBytes, 200000u * 18u);  // the children at most, not the root
    expectSameOctree(dir.file("memory.ovcf"), dir.file("split.ovcf"));

    const auto points = test::randomRecords(100000, 1 << 18, 5);
    IntegerBox box;
    for (const PointRecord& p : points) box.add(p);
    const std::array<std::uint32_t, 3> min{std::uint32_t(box.min[0]), std::uint32_t(box.min[1]), std::uint32_t(box.min[2])};
    const std::array<std::uint32_t, 3> max{std::uint32_t(box.max[0]), std::uint32_t(box.max[1]), std::uint32_t(box.max[2])};
    options.ramBudget = 4 << 20;  // 52,428 points a bucket: not these
    RecordSource plain(points);
    ASSERT_TRUE(build(plain, dir.file("plain.ovcf"), options).ok);
    AnnouncingSource truthful(points, min, max);
    ASSERT_TRUE(build(truthful, dir.file("announced.ovcf"), options).ok);
    expectSameOctree(dir.file("plain.ovcf"), dir.file("announced.ovcf"));
    for (std::uint32_t axis = 0; axis < 3; ++axis) {
        std::array<std::uint32_t, 3> smaller = max;
        smaller[axis] -= 1;
        AnnouncingSource lying(points, min, smaller);
        const Build failed = build(lying, dir.file("lying.ovcf"), options);
        EXPECT_FALSE(failed.ok);
        EXPECT_EQ(failed.error, "internal error: the points read do not match the bounding box the source announced");
    }
    EXPECT_EQ(test::folderEntries(dir.path()).size(), 4u);  // the outputs that succeeded, no scratch left
}

TEST(OctreeIndexerTest, FailuresLeaveNothingBehind) {
    TempDir dir("indexer");
    const auto points = test::randomRecords(3000, 1 << 18, 7);
    {
        RecordSource empty(std::vector<PointRecord>{});
        const Build b = build(empty, dir.file("out.ovcf"), smallOptions(dir));
        EXPECT_FALSE(b.ok);
        EXPECT_EQ(b.error, "the source contains no points");
    }
    {
        RecordSource source(points);
        const Build b = build(source, dir.file("missing/folder/out.ovcf"), smallOptions(dir));
        EXPECT_FALSE(b.ok);
        EXPECT_EQ(b.error.rfind("cannot create file '", 0), 0u) << b.error;
    }
    EXPECT_TRUE(test::folderEntries(dir.path()).empty());
    {
        RecordSource source(points);
        ImportOptions options = smallOptions(dir);
        options.temporaryParent = dir.file("nowhere");
        const Build b = build(source, dir.file("out.ovcf"), options);
        EXPECT_FALSE(b.ok);
        EXPECT_EQ(b.error.rfind("cannot create a temporary folder under '" + dir.file("nowhere") + "'", 0), 0u) << b.error;
    }
    {
        RecordSource source(points);
        ImportOptions options = smallOptions(dir);
        options.gridSize = 100;
        const Build b = build(source, dir.file("out.ovcf"), options);
        EXPECT_FALSE(b.ok);
        EXPECT_EQ(b.error, "gridSize must be a power of two between 2 and 256 (received: 100)");
    }
    EXPECT_TRUE(test::folderEntries(dir.path()).empty());
}

TEST(OctreeIndexerTest, PointFormatDecidesWhatTheSignatureCounts) {
    TempDir dir("indexer");
    const auto points = test::randomRecords(5000, 4000, 8);
    for (std::uint32_t format : {0u, 1u, 2u}) {
        RecordSource source(points);
        ImportOptions options = smallOptions(dir);
        options.pointFormat = format;
        const std::string file = dir.file(std::string("f") + std::to_string(format) + ".ovcf");
        const Build b = build(source, file, options);
        ASSERT_TRUE(b.ok) << b.error;
        // What the file keeps of each format is the writer's (ovcf tests); the header and the
        // signatures follow the format asked for.
        EXPECT_EQ(b.stats.signatureIn, signatureOf(points.data(), points.size(), format));
        FileHeader header;
        test::readWholeFile(file, &header);
        EXPECT_EQ(header.pointFormat, format);
        EXPECT_EQ(header.buildSignature, b.stats.signatureIn);
    }
}

TEST(OctreeIndexerTest, MemoryCloudBuildMatchesTheHostPointsAndLogsTheSummary) {
    TempDir dir("indexer");
    const test::HostCloud host = test::hostCloud(20000, 9);
    MemoryCloud cloud(host.xyz.data(), host.colours.data(), host.size(), 0.001);
    ImportOptions options = smallOptions(dir);
    options.pointFormat = 1;
    options.sourceDescription = "memoria di Orvane";
    std::vector<std::string> lines;
    setLogSink([](int, const char* message, void* context) { static_cast<std::vector<std::string>*>(context)->push_back(message); },
               &lines);
    const Build b = build(cloud, dir.file("host.ovcf"), options);
    if (b.ok) logImportSummary(b.stats);
    setLogSink(nullptr, nullptr);
    ASSERT_TRUE(b.ok) << b.error;

    FileHeader header;
    const auto nodes = test::readWholeFile(dir.file("host.ovcf"), &header);
    EXPECT_EQ(header.step[0], 0.001);
    EXPECT_EQ(header.offset[0], cloud.offset()[0]);
    for (const auto& node : nodes)
        for (const PointRecord& p : node.points) {
            const double x = header.offset[0] + header.step[0] * p.x;
            EXPECT_GE(x, cloud.bounds().min[0] - 0.0005);
            EXPECT_LE(x, cloud.bounds().max[0] + 0.0005);
        }
    auto has = [&](const std::string& text) {
        return std::find(lines.begin(), lines.end(), text) != lines.end();
    };
    EXPECT_TRUE(has("--- Riepilogo import ---"));
    EXPECT_TRUE(has("punti                : 20.000"));
    EXPECT_TRUE(has("formato punto        : 1 (XYZ+RGB) (15 byte)"));
    char signatureLine[128];
    std::snprintf(signatureLine, sizeof signatureLine, "hash insieme punti   : %016llX (ingresso) / %016llX (uscita)",
                  static_cast<unsigned long long>(header.buildSignature), static_cast<unsigned long long>(header.buildSignature));
    EXPECT_TRUE(has(signatureLine));
    EXPECT_TRUE(has("sorgente: " + cloud.description()));
    EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [](const std::string& l) { return l.rfind("cartella temporanea: ", 0) == 0; }));
}

TEST(OctreeIndexerTest, FoldersAndFilesWithAccentedNamesWork) {
    TempDir dir("indexer");
    const std::string folder = dir.file("rilievi città");
    std::filesystem::create_directory(test::fsPath(folder));
    const auto points = test::randomRecords(30000, 1 << 16, 10);
    RecordSource source(points);
    ImportOptions options = smallOptions(dir);
    options.temporaryParent = folder;
    options.ramBudget = 1 << 20;  // spill, so that bucket files are made in the scratch folder
    const std::string output = folder + "/nuvola_è.ovcf";
    const Build b = build(source, output, options);
    ASSERT_TRUE(b.ok) << b.error;
    EXPECT_GT(b.stats.temporaryBytes, 0u);
    EXPECT_EQ(test::readWholeFile(output).size(), b.stats.nodeCount);
    EXPECT_EQ(test::folderEntries(folder).size(), 1u);
}

TEST(ImportConsistencyTest, CountsFirstThenTheSetOfPoints) {
    ImportStats stats;
    stats.pointsRead = 1234567;
    stats.pointsWritten = 1234566;
    stats.signatureIn = 5;
    stats.signatureOut = 6;
    std::string error;
    EXPECT_FALSE(checkImportConsistency(stats, error));
    EXPECT_EQ(error, "internal error: 1.234.567 points were read but 1.234.566");
    stats.pointsWritten = 1234567;
    EXPECT_FALSE(checkImportConsistency(stats, error));
    EXPECT_EQ(error, "internal error: the set of written points does not match the set that was read");
    stats.signatureOut = 5;
    EXPECT_TRUE(checkImportConsistency(stats, error));
}

}  // namespace
}  // namespace ovcf
