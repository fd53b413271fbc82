// Deletion with undo and restore, confirming into the file with the content signature kept up to
// date, and reading the points back; all against independent counts of the same file.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "CommitTestSupport.h"
#include "ovcf/DeletedMapCommit.h"
#include "selection/PointReadBack.h"

namespace ovcf::test {
namespace {

class DeletionHistoryTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.file("cloud.ovcf");
        writeCloud(path, fullTree(2, 100));  // 73 nodes
        reopen();
    }
    void reopen() {
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        nodes = describeNodes(reader.header(), reader.nodes(), cloudReferencePoint(reader.header()));
        std::vector<std::uint8_t> bytes;
        ASSERT_TRUE(reader.readDeletedMap(bytes, error)) << error;
        PointBitmap fileMap;
        fileMap.reset(reader.header().pointCount);
        fileMap.loadBytes(bytes.data(), bytes.size());
        history.open(path, nodes, fileMap.words(), reader.header().pointCount, reader.header().currentSignature);
        selection.reset(reader.header().pointCount);
    }
    void select(std::initializer_list<std::pair<std::uint64_t, std::uint64_t>> ranges) {
        for (auto [first, end] : ranges)
            for (std::uint64_t g = first; g < end; ++g) selection.set(g);
    }
    FileHeader fileHeader() {
        FileHeader header;
        std::string error;
        EXPECT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;
        return header;
    }

    TempDir dir{"orvane_deletion"};
    std::string path;
    OvcfReader reader;
    std::vector<NodeInfo> nodes;
    DeletionHistory history;
    PointBitmap selection;
    bool changed = false, wrote = false;
    std::string error;
};

TEST_F(DeletionHistoryTest, DeleteUndoAndRestoreFollowTheirRules) {
    changed = true;
    EXPECT_EQ(history.deleteSelected(selection, changed), 0u);
    EXPECT_FALSE(changed);
    EXPECT_EQ(history.undoDepth(), 0u) << "an empty selection pushes no record";

    select({{10, 500}});
    EXPECT_EQ(history.deleteSelected(selection, changed), 490u);
    EXPECT_TRUE(history.hasUnsavedChanges());
    EXPECT_EQ(selection.count(), 0u);

    // Deleting points that are all deleted already keeps a record but deletes nothing.
    select({{100, 200}});
    EXPECT_EQ(history.deleteSelected(selection, changed), 0u);
    EXPECT_EQ(history.undoDepth(), 2u);

    // Undo restores only what that deletion still holds deleted, and reselects all of it.
    EXPECT_EQ(history.undo(selection, changed), 100u);
    EXPECT_EQ(history.deletedCount(), 390u);
    EXPECT_EQ(selection.count(), 100u);
    EXPECT_EQ(history.undo(selection, changed), 390u);
    EXPECT_EQ(selection.count(), 490u);
    EXPECT_EQ(history.undo(selection, changed), 0u);
    EXPECT_FALSE(changed);

    selection.clearAll();
    select({{0, 50}});
    history.deleteSelected(selection, changed);
    EXPECT_EQ(history.restoreAll(changed), 50u);
    EXPECT_EQ(history.undoDepth(), 0u);
    EXPECT_EQ(history.restoreAll(changed), 0u);
    EXPECT_FALSE(changed);
}

TEST_F(DeletionHistoryTest, UndoRecordsOverTheirBudgetDropTheOldestAndKeepTheNewest) {
    test::LogCapture log;
    history.setUndoBudget(1);  // below any record: only the newest can stay
    for (std::uint64_t first : {0, 1000, 2000}) {
        select({{first, first + 300}});
        history.deleteSelected(selection, changed);
    }
    EXPECT_EQ(history.undoDepth(), 1u);
    EXPECT_EQ(log.count(LogWarn, "memoria per gli annullamenti piena (1 B): le 1 cancellazioni piu' vecchie non si possono piu' annullare"), 2);
    EXPECT_EQ(history.undo(selection, changed), 300u);
    EXPECT_EQ(history.deletedCount(), 600u) << "the older deletions stay, no longer undoable";
    EXPECT_EQ(history.undoBytes(), 0u);
}

TEST_F(DeletionHistoryTest, PerNodeCountsMatchAnIndependentCount) {
    select({{0, 150}, {1000, 1010}, {5000, 7000}});
    history.deleteSelected(selection, changed);
    const std::vector<HierarchyRecord>& records = reader.nodes();
    std::vector<std::uint64_t> subtree(records.size());
    for (std::size_t n = records.size(); n-- > 0;) {
        std::uint32_t deleted = 0;
        for (std::uint64_t g = records[n].firstPoint; g < records[n].firstPoint + records[n].pointCount; ++g)
            deleted += history.deleted().test(g);
        EXPECT_EQ(history.deletedInNode()[n], deleted) << n;
        subtree[n] = records[n].pointCount - deleted;
        for (std::uint32_t child : records[n].children)
            if (child != kNoChild) subtree[n] += subtree[child];
        EXPECT_EQ(history.survivingInSubtree()[n], subtree[n]) << n;
    }
    EXPECT_EQ(history.survivingInSubtree()[0], reader.header().pointCount - history.deletedCount());
}

TEST_F(DeletionHistoryTest, ConfirmingWritesTheMapAndKeepsTheSignatureRight) {
    const std::uint64_t built = fileHeader().currentSignature;
    ASSERT_NE(built, 0u);
    select({{5, 40}, {3000, 3100}});
    history.deleteSelected(selection, changed);
    ASSERT_TRUE(history.confirm(reader, wrote, error)) << error;
    EXPECT_TRUE(wrote);
    EXPECT_FALSE(history.hasUnsavedChanges());
    EXPECT_EQ(history.undoDepth(), 0u);
    EXPECT_EQ(fileHeader().deletedCount, 135u);
    EXPECT_EQ(fileHeader().currentSignature, survivorsSignature(reader, history.deleted()));
    EXPECT_EQ(fileHeader().buildSignature, built);

    // Nothing changed since: the file is not touched at all.
    const auto written = std::filesystem::last_write_time(path);
    const std::vector<std::uint8_t> bytes = fileBytes(path);
    ASSERT_TRUE(history.confirm(reader, wrote, error));
    EXPECT_FALSE(wrote);
    EXPECT_EQ(fileBytes(path), bytes);
    EXPECT_EQ(std::filesystem::last_write_time(path), written);

    // Reopened, the deletions are there; all back and confirmed, the map is all zero.
    reopen();
    EXPECT_EQ(history.deletedCount(), 135u);
    EXPECT_EQ(history.restoreAll(changed), 135u);
    ASSERT_TRUE(history.confirm(reader, wrote, error)) << error;
    std::vector<std::uint8_t> map;
    ASSERT_TRUE(reader.readDeletedMap(map, error));
    EXPECT_EQ(std::count(map.begin(), map.end(), 0), static_cast<std::ptrdiff_t>(map.size()));
    EXPECT_EQ(fileHeader().deletedCount, 0u);
    EXPECT_EQ(fileHeader().currentSignature, built) << "every hash is back";
}

TEST_F(DeletionHistoryTest, AConfirmationRetriedAfterAFailureTakesNoHashOffTwice) {
    // Points of node 9 are deleted; its block is damaged for the first attempt, so the signature
    // cannot be worked out and nothing is written.
    const HierarchyRecord node = reader.nodes()[9];
    const std::uint64_t built = fileHeader().currentSignature;
    select({{node.firstPoint, node.firstPoint + 20}, {0, 10}});
    history.deleteSelected(selection, changed);
    const std::vector<std::uint8_t> intact = fileBytes(path);
    corruptBlock(path, 9);
    EXPECT_FALSE(history.confirm(reader, wrote, error));
    EXPECT_EQ(error.rfind("cannot re-read node 9 to update the cache signature: ", 0), 0u) << error;
    EXPECT_TRUE(history.hasUnsavedChanges());
    EXPECT_EQ(fileHeader().deletedCount, 0u) << "map, count and signature change together or not at all";
    EXPECT_EQ(fileHeader().currentSignature, built) << "a failed update leaves the signature alone";

    // The block repaired, the retry brings the signature to the survivors' exactly.
    std::vector<std::uint8_t> repaired = fileBytes(path);
    std::copy(intact.begin() + static_cast<std::ptrdiff_t>(node.blockOffset),
              intact.begin() + static_cast<std::ptrdiff_t>(node.blockOffset + node.storedSize),
              repaired.begin() + static_cast<std::ptrdiff_t>(node.blockOffset));
    writeFileBytes(path, repaired);
    ASSERT_TRUE(history.confirm(reader, wrote, error)) << error;
    EXPECT_EQ(fileHeader().currentSignature, survivorsSignature(reader, history.deleted()));
}

TEST_F(DeletionHistoryTest, AFileOfALaterMinorVersionIsUpdatedNotRefused) {
    std::vector<std::uint8_t> bytes = fileBytes(path);
    writeLe(bytes, 6, 1, 2);  // version 1.1
    writeFileBytes(path, bytes);
    reopen();
    select({{0, 5}});
    history.deleteSelected(selection, changed);
    ASSERT_TRUE(history.confirm(reader, wrote, error)) << error;
    EXPECT_EQ(readLe(fileBytes(path), 192, 8), 5u);
}

TEST_F(DeletionHistoryTest, CommitRefusesAMapOfTheWrongSizeOrTooManyDeletionsBeforeWriting) {
    const std::vector<std::uint8_t> before = fileBytes(path);
    const std::size_t size = static_cast<std::size_t>(deletedMapBytes(reader.header().pointCount));
    std::vector<std::uint8_t> map(size + 1, 0xFF);
    EXPECT_FALSE(commitDeletedMap(path, map.data(), size + 1, 1, error));
    EXPECT_EQ(error, "the deleted-points map does not match the file (" + std::to_string(size + 1) + " bytes, expected " +
                         std::to_string(size) + ")");
    EXPECT_FALSE(commitDeletedMap(path, map.data(), size, reader.header().pointCount + 1, error));
    EXPECT_EQ(error, "the deleted count exceeds the number of points");
    EXPECT_FALSE(commitDeletedMap(path, nullptr, size, 0, error));
    EXPECT_EQ(error, "invalid deleted-points map");
    EXPECT_EQ(fileBytes(path), before);
}

TEST_F(DeletionHistoryTest, ReadBackHonoursCapacityFlagsAndElevationOrder) {
    select({{0, 100}, {2000, 2300}});
    history.deleteSelected(selection, changed);
    const std::int64_t n = static_cast<std::int64_t>(reader.header().pointCount);
    const std::int64_t alive = n - 400;
    std::vector<double> xyz(3 * n);
    std::vector<std::uint32_t> rgb(n);
    std::vector<std::uint8_t> flags(n);
    const ReadBackSource source{path, nullptr, &history.deleted(), &history.deletedInNode(), nullptr, {}};
    EXPECT_EQ(readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), n - 1}, false, error), -1);
    EXPECT_EQ(error, "the buffer holds " + std::to_string(n - 1) + " points but the cloud has " + std::to_string(n) +
                         ": resize it first");
    EXPECT_EQ(readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, alive - 1}, false, error), -1);
    EXPECT_EQ(error, "the buffer holds " + std::to_string(alive - 1) + " points but " + std::to_string(alive) +
                         " survive: resize it first");

    // Unsorted: file order, deleted points flagged 0.
    ASSERT_EQ(readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), n}, false, error), n) << error;
    std::vector<std::array<double, 4>> unsorted;  // x, y, z, flag and colour
    const std::vector<double> fileOrder = xyz;
    for (std::int64_t i = 0; i < n; ++i) {
        EXPECT_EQ(flags[i] == 0, history.deleted().test(static_cast<std::uint64_t>(i))) << i;
        unsorted.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], double(flags[i]) + rgb[i] * 2.0});
    }
    // Sorted: highest first, and each point keeps its coordinates, colour and flag.
    ASSERT_EQ(readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), n}, true, error), n);
    std::vector<std::array<double, 4>> sorted;
    for (std::int64_t i = 0; i < n; ++i) {
        if (i > 0) {
            ASSERT_GE(xyz[3 * (i - 1) + 2], xyz[3 * i + 2]);
        }
        sorted.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], double(flags[i]) + rgb[i] * 2.0});
    }
    std::sort(sorted.begin(), sorted.end());
    std::sort(unsorted.begin(), unsorted.end());
    EXPECT_EQ(sorted, unsorted);

    ASSERT_EQ(readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, alive}, false, error), alive);
    // The survivors in file order, deleted points left out.
    std::int64_t k = 0;
    for (std::int64_t g = 0; g < n; ++g) {
        if (history.deleted().test(static_cast<std::uint64_t>(g))) continue;
        for (int a = 0; a < 3; ++a) ASSERT_EQ(xyz[3 * k + a], fileOrder[3 * g + a]) << g;
        ++k;
    }
    EXPECT_EQ(k, alive);
}

TEST(ReadBackOrder, PointsInThickElevationSlicesComeOutSortedAndWhole) {
    // A root cube of 2^28 quanta: the counting sort's slices are 256 quanta thick, and 5.000
    // points within 2.000 quanta of height share a handful of them.
    KnownCloud cloud;
    cloud.params = knownParams(2, true);
    cloud.params.rootExponent = 28;
    std::mt19937 random(5);
    std::vector<PointRecord> points(5000);
    for (PointRecord& p : points) {
        p.x = cloud.params.rootOrigin[0] + random() % 100000;
        p.y = cloud.params.rootOrigin[1] + random() % 100000;
        p.z = cloud.params.rootOrigin[2] + random() % 2000;
        p.red = static_cast<std::uint8_t>(random());
    }
    cloud.nodes.push_back({{0, 0, 0, 0}, points});
    TempDir dir("orvane_sorted");
    const std::string path = dir.file("thick.ovcf");
    writeCloud(path, cloud);
    OvcfReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(path, error)) << error;
    DeletionHistory history;
    history.open(path, describeNodes(reader.header(), reader.nodes(), {}), {}, points.size(), 0);
    PointBitmap selection;
    selection.reset(points.size());
    for (std::uint64_t g = 0; g < 5000; g += 7) selection.set(g);
    bool changed = false;
    history.deleteSelected(selection, changed);
    const ReadBackSource source{path, nullptr, &history.deleted(), &history.deletedInNode(), nullptr, {}};

    for (const bool survivorsOnly : {false, true}) {
        SCOPED_TRACE(survivorsOnly ? "surviving" : "all");
        const std::int64_t n = survivorsOnly ? 5000 - 715 : 5000;
        std::vector<double> xyz(3 * n);
        std::vector<std::uint32_t> rgb(n);
        std::vector<std::uint8_t> flags(n);
        const auto read = [&](bool sort) {
            return survivorsOnly ? readSurvivingPoints(source, {xyz.data(), rgb.data(), nullptr, n}, sort, error)
                                 : readAllPoints(source, {xyz.data(), rgb.data(), flags.data(), n}, sort, error);
        };
        const auto whole = [&] {
            std::vector<std::array<double, 5>> all;
            for (std::int64_t i = 0; i < n; ++i)
                all.push_back({xyz[3 * i], xyz[3 * i + 1], xyz[3 * i + 2], double(rgb[i]), double(flags[i])});
            std::sort(all.begin(), all.end());
            return all;
        };
        ASSERT_EQ(read(false), n) << error;
        const auto unsorted = whole();
        ASSERT_EQ(read(true), n) << error;
        for (std::int64_t i = 1; i < n; ++i) ASSERT_GE(xyz[3 * (i - 1) + 2], xyz[3 * i + 2]) << i;
        EXPECT_EQ(whole(), unsorted) << "every point keeps its coordinates, colour and flag";
    }
}

// The cloud written to a folder of its own, opened, and every `every`-th point deleted in a fresh
// history; `count` is the point count, 0 (after a failure) when the file cannot be opened.
struct EveryNthDeleted {
    TempDir dir;
    std::string path;
    OvcfReader reader;
    DeletionHistory history;
    std::uint64_t count = 0;

    EveryNthDeleted(const KnownCloud& cloud, const std::string& name, std::uint64_t every)
        : dir("orvane_" + name), path(dir.file(name + ".ovcf")) {
        writeCloud(path, cloud);
        std::string error;
        if (!reader.open(path, error)) {
            ADD_FAILURE() << error;
            return;
        }
        count = reader.header().pointCount;
        history.open(path, describeNodes(reader.header(), reader.nodes(), {}), {}, count, 0);
        PointBitmap selection;
        selection.reset(count);
        for (std::uint64_t g = 0; g < count; g += every) selection.set(g);
        bool changed = false;
        history.deleteSelected(selection, changed);
    }

    // What the read-back needs of this file and its deletions, read on `threads` workers.
    ReadBackSource source(unsigned threads) const {
        return {path, nullptr, &history.deleted(), &history.deletedInNode(), nullptr, {}, threads};
    }

    using Point = std::array<double, 5>;  // x, y, z, colour, flag (0 for the survivors)
    // The points as PC_ReadAllPoints (with flags) or PC_ReadSurvivingPoints hands them over, and
    // how many were written (-1 with `error`).
    std::pair<std::int64_t, std::vector<Point>> readBack(unsigned threads, bool sort, bool survivorsOnly,
                                                         std::string& error) const {
        std::vector<double> xyz(3 * count);
        std::vector<std::uint32_t> rgb(count);
        std::vector<std::uint8_t> flags(count);
        const std::int64_t n = std::int64_t(count);
        const std::int64_t written =
            survivorsOnly ? readSurvivingPoints(source(threads), {xyz.data(), rgb.data(), nullptr, n}, sort, error)
                          : readAllPoints(source(threads), {xyz.data(), rgb.data(), flags.data(), n}, sort, error);
        std::vector<Point> out;
        for (std::int64_t k = 0; k < written; ++k)
            out.push_back({xyz[3 * k], xyz[3 * k + 1], xyz[3 * k + 2], double(rgb[k]), survivorsOnly ? 0.0 : flags[k]});
        return {written, out};
    }
};

TEST(ReadBackOrder, WorkerThreadsGiveTheOneThreadResult) {
    // 585 nodes and thick elevation slices (16 quanta), deletions scattered over many nodes.
    KnownCloud cloud = fullTree(3, 60);
    cloud.params.rootExponent = 24;
    EveryNthDeleted opened(cloud, "threads", 13);
    const std::uint64_t n = opened.count;
    ASSERT_GT(n, 0u);
    std::string error;

    struct Output {
        std::int64_t written;
        std::vector<double> xyz;
        std::vector<std::uint32_t> rgb;
        std::vector<std::uint8_t> flags;
        bool operator==(const Output&) const = default;
    };
    const auto read = [&](unsigned threads, bool survivorsOnly, bool sort) {
        const ReadBackSource source = opened.source(threads);
        Output out{0, std::vector<double>(3 * n), std::vector<std::uint32_t>(n), std::vector<std::uint8_t>(n)};
        const HostPointBuffers buffers{out.xyz.data(), out.rgb.data(), out.flags.data(), std::int64_t(n)};
        out.written = survivorsOnly ? readSurvivingPoints(source, buffers, sort, error) : readAllPoints(source, buffers, sort, error);
        return out;
    };
    for (const bool survivorsOnly : {false, true})
        for (const bool sort : {false, true}) {
            SCOPED_TRACE(std::string(survivorsOnly ? "surviving" : "all") + (sort ? ", sorted" : ""));
            const Output one = read(1, survivorsOnly, sort);
            ASSERT_EQ(one.written, std::int64_t(survivorsOnly ? n - opened.history.deleted().count() : n)) << error;
            EXPECT_TRUE(read(3, survivorsOnly, sort) == one);
        }
}

TEST(ReadBackOrder, EqualHeightsKeepFileOrderWhateverTheBucketsAndThreads) {
    // Slices one quantum high: the sorted order is exactly the file order stably sorted by z.
    struct Case {
        const char* name;
        std::uint32_t (*z)(std::size_t i, std::mt19937& random);
        double boxHeight;  // of the header's box, in metres
    };
    const Case cases[] = {
        {"one height", [](std::size_t, std::mt19937&) { return 700u; }, 65.536},
        {"three heights", [](std::size_t i, std::mt19937&) { return 700u + 9000u * std::uint32_t(i % 3); }, 65.536},
        {"a box far below the points", [](std::size_t, std::mt19937& random) { return std::uint32_t(random() % 32768); }, 0.01},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        KnownCloud cloud;
        cloud.params = knownParams(2, true);
        cloud.params.boundsMax[2] = cloud.params.boundsMin[2] + c.boxHeight;
        std::mt19937 random(3);
        std::size_t i = 0;
        for (const NodeKey key : {NodeKey{0, 0, 0, 0}, NodeKey{1, 0, 0, 0}, NodeKey{1, 1, 0, 0}, NodeKey{1, 0, 1, 0}, NodeKey{1, 1, 1, 0}}) {
            const auto origin = nodeOrigin(cloud.params.rootOrigin, cloud.params.rootExponent, key);
            const std::uint32_t side = std::uint32_t(nodeCubeSide(cloud.params.rootExponent, key.level));
            std::vector<PointRecord> points(300);
            for (PointRecord& p : points) {
                p.x = origin[0] + random() % side;
                p.y = origin[1] + random() % side;
                p.z = cloud.params.rootOrigin[2] + c.z(i++, random);
                p.red = std::uint8_t(i);
            }
            cloud.nodes.push_back({key, points});
        }
        EveryNthDeleted opened(cloud, "heights", 11);
        ASSERT_GT(opened.count, 0u);
        std::string error;
        for (const bool survivorsOnly : {false, true}) {
            using Point = EveryNthDeleted::Point;
            std::vector<Point> expected = opened.readBack(1, false, survivorsOnly, error).second;
            std::stable_sort(expected.begin(), expected.end(), [](const Point& a, const Point& b) { return a[2] > b[2]; });
            for (const unsigned threads : {1u, 3u})
                EXPECT_TRUE(opened.readBack(threads, true, survivorsOnly, error).second == expected) << threads << " threads";
        }
    }
}

TEST(ReadBackOrder, PointsOutsideTheirCubeAndDamagedNodesGiveTheFileOrderResult) {
    // The sorted read reads the nodes from the highest cube down. A point outside its node's cube
    // must still come out in its place, and of two damaged nodes the first in file order is the
    // one reported. Node 1's cube is the lowest quarter of the height, node 45's the highest.
    struct Case {
        const char* name;
        std::uint32_t node, z;  // the node's first point moved to this height above the root's base
        std::vector<std::uint32_t> damaged;
    };
    const Case cases[] = {
        {"a point above its cube", 9, 60000, {}},
        {"a point below its cube", 45, 100, {}},
        {"two damaged nodes", 0, 0, {45, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        KnownCloud cloud = fullTree(2, 60);
        cloud.nodes[c.node].points[0].z = cloud.params.rootOrigin[2] + c.z;
        EveryNthDeleted opened(cloud, "outside", 7);
        ASSERT_GT(opened.count, 0u);
        for (const std::uint32_t node : c.damaged) corruptBlock(opened.path, node);
        for (const bool survivorsOnly : {false, true}) {
            using Point = EveryNthDeleted::Point;
            std::string error;
            auto [written, expected] = opened.readBack(1, false, survivorsOnly, error);
            const std::string unsortedError = error;
            std::stable_sort(expected.begin(), expected.end(), [](const Point& a, const Point& b) { return a[2] > b[2]; });
            for (const unsigned threads : {1u, 3u}) {
                const auto [sortedWritten, sorted] = opened.readBack(threads, true, survivorsOnly, error);
                EXPECT_EQ(sortedWritten, written) << threads << " threads";
                if (c.damaged.empty()) {
                    EXPECT_TRUE(sorted == expected) << threads << " threads";
                } else {
                    EXPECT_EQ(error, unsortedError) << threads << " threads";
                }
            }
            if (!c.damaged.empty()) {
                EXPECT_EQ(written, -1);
            }
        }
    }
}

}  // namespace
}  // namespace ovcf::test
