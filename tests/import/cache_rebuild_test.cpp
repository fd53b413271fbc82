// Building over an existing cache: the new file is written under a temporary name and takes the
// old one's place only once complete, so a cancelled or failed rebuild leaves the old cache byte
// for byte and no scratch file, a reader that has the old file open keeps reading it throughout,
// and two builds of one cache at once each put a whole file in place.
#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/OctreeIndexer.h"

namespace ovcf {
namespace {

using test::RecordSource;
using test::TempDir;

struct CancelAfter {
    double above;
    int calls = 0;
    int allowed;
    static bool hook(double fraction, void* context) {
        auto* self = static_cast<CancelAfter*>(context);
        return fraction <= self->above || ++self->calls <= self->allowed;
    }
};

// Holds a build at its first written node until the other build has reached its own, so that
// both write their nodes at the same time.
struct MeetAtFirstNode {
    std::atomic<int>& arrived;
    bool met = false;
    static bool hook(double fraction, void* context) {
        auto* self = static_cast<MeetAtFirstNode*>(context);
        if (self->met || fraction <= ImportOptions{}.readingShare) return true;
        self->met = true;
        self->arrived.fetch_add(1);
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(30);
        while (self->arrived.load() < 2 && std::chrono::steady_clock::now() < giveUp)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return true;
    }
};

// Every node of the open reader, CRC-checked: the old file is still whole for it.
void expectReadable(OvcfReader& reader, std::uint64_t points) {
    std::vector<PointRecord> batch;
    std::string error;
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < reader.nodes().size(); ++i) {
        ASSERT_TRUE(reader.readNode(i, batch, error, true)) << error;
        total += batch.size();
    }
    EXPECT_EQ(total, points);
}

TEST(CacheRebuildTest, ACancelledOrFailedRebuildLeavesTheOldCacheByteForByte) {
    TempDir dir("rebuild");
    TempDir scratch("rebuild_scratch");
    const std::string cache = dir.file("scan_cache.ovcf");
    {
        RecordSource first(test::randomRecords(20000, 1 << 14, 11));
        ImportStats stats;
        std::string error;
        ASSERT_TRUE(buildOctree(first, cache, test::smallOptions(scratch, 256u << 20), stats, error)) << error;
    }
    const std::vector<std::uint8_t> old = test::wholeFile(cache);
    OvcfReader viewer;  // a view that has the cache open during the rebuilds
    std::string error;
    ASSERT_TRUE(viewer.open(cache, error)) << error;

    const auto points = test::randomRecords(300000, 1 << 18, 12);
    struct Case {
        const char* when;
        double above;
        int allowed;
        std::uint64_t budget;
        std::size_t failAfter;  // 0: the source does not fail
    };
    // On one thread and on several: the workers must be done with the file before it goes.
    for (unsigned threads : {1u, 5u}) {
        for (const Case& c : {Case{"reading", -1.0, 0, 256u << 20, 0}, Case{"reading, spilled", -1.0, 1, 1u << 20, 0},
                              Case{"splitting in memory", 0.5, 3, 256u << 20, 0}, Case{"splitting on disk", 0.5, 2, 1u << 20, 0},
                              Case{"late in indexing", 0.97, 0, 1u << 20, 0}, Case{"failing source", 2.0, 0, 1u << 20, 270000}}) {
            SCOPED_TRACE(std::string(c.when) + ", " + std::to_string(threads) + " threads");
            RecordSource source(points);
            if (c.failAfter) source.failAfter(c.failAfter);
            ImportOptions options = test::smallOptions(scratch, c.budget);
            options.threads = threads;
            CancelAfter cancel{c.above, 0, c.allowed};
            options.progressHook = &CancelAfter::hook;
            options.progressContext = &cancel;
            ImportStats stats;
            EXPECT_FALSE(buildOctree(source, cache, options, stats, error));
            EXPECT_EQ(error, c.failAfter ? "simulated read failure" : "operation cancelled");
            EXPECT_EQ(test::wholeFile(cache) == old, true) << "the old cache changed";
            EXPECT_EQ(test::folderEntries(dir.path()), std::vector<std::string>{"scan_cache.ovcf"});
            EXPECT_TRUE(test::folderEntries(scratch.path()).empty());
            expectReadable(viewer, viewer.header().pointCount);
        }
    }

    // A rebuild that succeeds replaces the file; the reader that had the old one keeps it.
    RecordSource source(points);
    ImportStats stats;
    ASSERT_TRUE(buildOctree(source, cache, test::smallOptions(scratch, 1u << 20), stats, error)) << error;
    FileHeader header;
    ASSERT_EQ(OvcfReader::probeHeader(cache, header, error), ProbeValid) << error;
    EXPECT_EQ(header.pointCount, points.size());
    expectReadable(viewer, 20000);
    viewer.close();  // the old file is gone once its last reader closes it
    EXPECT_EQ(test::folderEntries(dir.path()), std::vector<std::string>{"scan_cache.ovcf"});
}

TEST(CacheRebuildTest, TwoBuildsOfOneCacheAtOnceEachPutAWholeFileInPlace) {
    TempDir dir("concurrent_builds");
    TempDir scratch("concurrent_builds_scratch");
    const std::string cache = dir.file("scan_cache.ovcf");
    const auto first = test::randomRecords(20000, 1 << 14, 21);
    const auto second = test::randomRecords(30000, 1 << 14, 22);
    std::atomic<int> arrived{0};
    auto build = [&](const std::vector<PointRecord>& points, std::string& error) {
        RecordSource source(points);
        ImportOptions options = test::smallOptions(scratch, 256u << 20);
        MeetAtFirstNode meet{arrived};
        options.progressHook = &MeetAtFirstNode::hook;
        options.progressContext = &meet;
        ImportStats stats;
        return buildOctree(source, cache, options, stats, error);
    };
    std::string secondError;
    bool secondBuilt = false;
    std::thread other([&] { secondBuilt = build(second, secondError); });
    std::string error;
    EXPECT_TRUE(build(first, error)) << error;
    other.join();
    EXPECT_TRUE(secondBuilt) << secondError;

    // The last rename won: the cache is one of the two clouds, whole.
    OvcfReader reader;
    ASSERT_TRUE(reader.open(cache, error)) << error;
    const std::uint64_t points = reader.header().pointCount;
    EXPECT_TRUE(points == first.size() || points == second.size()) << points << " points";
    expectReadable(reader, points);
    reader.close();
    EXPECT_EQ(test::folderEntries(dir.path()), std::vector<std::string>{"scan_cache.ovcf"});
}

}  // namespace
}  // namespace ovcf
