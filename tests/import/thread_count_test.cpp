// Whatever the thread count, the same bytes: caches built from host memory, a LAS file and a LAZ
// file, a build that spills to disk, and LAZ exports, each made with 1, 2 and 5 threads.
#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "LasTestFile.h"
#include "TestSupport.h"
#include "import/FileSources.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"
#include "import/PointExport.h"

namespace ovcf {
namespace {

using test::LasTestFile;
using test::TempDir;

TEST(ThreadCountTest, CachesAndExportsAreTheSameBytesWhateverTheThreadCount) {
    TempDir dir("thread_count");
    TempDir scratch("thread_count_scratch");
    const test::HostCloud host = test::hostCloud(300000, 7);
    const auto records = test::randomRecords(200000, 1 << 16, 5);
    LasTestFile las;
    for (std::size_t i = 0; i < host.size(); i += 2)
        las.points.push_back({static_cast<std::int32_t>((host.xyz[3 * i] - 512000.0) * 100),
                              static_cast<std::int32_t>((host.xyz[3 * i + 1] - 4650000.0) * 100),
                              static_cast<std::int32_t>(host.xyz[3 * i + 2] * 100), static_cast<std::uint16_t>(i),
                              static_cast<std::uint8_t>(i % 7), static_cast<std::uint16_t>(i * 3),
                              static_cast<std::uint16_t>(i * 5), static_cast<std::uint16_t>(i * 7)});
    las.write(dir.file("scan.las"));
    const std::string laz = dir.file("scan.laz");
    std::string error;

    struct Case {
        const char* name;
        std::uint64_t ramBudget;
        std::function<std::unique_ptr<PointSource>(unsigned threads)> open;
    };
    const auto file = [&](const std::string& path) {
        return [&, path](unsigned threads) { return openPointFile(path, 0.0, error, threads); };
    };
    const Case cases[] = {
        {"host memory", 256u << 20,
         [&](unsigned) { return std::make_unique<MemoryCloud>(host.xyz.data(), host.colours.data(), host.size(), 0.001); }},
        {"LAS file", 256u << 20, file(dir.file("scan.las"))},
        {"spilling to disk", 1u << 20, [&](unsigned) { return std::make_unique<test::RecordSource>(records); }},
        {"LAZ file", 256u << 20, file(laz)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string cache = dir.file("cache.ovcf");
        std::vector<std::uint8_t> first;
        for (unsigned threads : {1u, 2u, 5u}) {
            std::unique_ptr<PointSource> source = c.open(threads);
            ASSERT_TRUE(source) << error;
            ImportOptions options = test::smallOptions(scratch, c.ramBudget);
            options.threads = threads;
            options.pointFormat = source->fullPointFormat();
            ImportStats stats;
            ASSERT_TRUE(buildOctree(*source, cache, options, stats, error)) << threads << " threads: " << error;
            EXPECT_EQ(stats.temporaryBytes > 0, c.ramBudget < (2u << 20));
            const std::vector<std::uint8_t> bytes = test::cacheBytesApartFromCreation(cache);
            if (threads == 1) first = bytes;
            else EXPECT_TRUE(bytes == first) << threads << " threads";
        }
        if (std::string(c.name) != "LAS file") continue;
        // The LAS file's cache exported with each thread count; its LAZ export is the next case's input.
        for (const std::string& output : {dir.file("scan.ply"), dir.file("scan.xyz"), dir.file("export.las"), laz}) {
            std::vector<std::uint8_t> firstExport;
            for (unsigned threads : {1u, 2u, 5u}) {
                ExportStats stats;
                ASSERT_TRUE(exportPoints(cache, output, true, stats, error, nullptr, nullptr, threads)) << error;
                if (threads == 1) firstExport = test::wholeFile(output);
                else EXPECT_TRUE(test::wholeFile(output) == firstExport) << output << ", " << threads << " threads";
            }
        }
    }
}

}  // namespace
}  // namespace ovcf
