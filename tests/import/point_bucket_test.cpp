#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/PointBucket.h"
#include "platform/SystemFile.h"

namespace ovcf {
namespace {

using test::TempDir;

std::vector<PointRecord> numbered(std::size_t count, std::uint32_t first = 0) {
    std::vector<PointRecord> points(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto n = static_cast<std::uint32_t>(first + i);
        points[i].x = n;
        points[i].y = n * 3;
        points[i].z = ~n;
        points[i].intensity = static_cast<std::uint16_t>(n * 7);
        points[i].red = static_cast<std::uint8_t>(n);
        points[i].green = static_cast<std::uint8_t>(n >> 8);
        points[i].blue = static_cast<std::uint8_t>(n >> 16);
        points[i].classification = static_cast<std::uint8_t>(n % 31);
    }
    return points;
}

TEST(PointBucketTest, LimitZeroSpillsOnTheFirstPointAndReleaseDeletesTheFile) {
    TempDir dir("bucket");
    PointBucket bucket(dir.path(), "r05", 0);
    std::string error;
    EXPECT_TRUE(bucket.add(nullptr, 0, error));  // nothing to add: stays in memory
    EXPECT_FALSE(bucket.isSpilled());
    const auto points = numbered(3);
    ASSERT_TRUE(bucket.add(points.data(), points.size(), error)) << error;
    EXPECT_TRUE(bucket.isSpilled());
    EXPECT_EQ(bucket.filePath(), dir.file("r05.pts"));
    EXPECT_TRUE(test::fileExists(dir.file("r05.pts")));
    ASSERT_TRUE(bucket.finishWriting(error));
    EXPECT_EQ(bucket.bytesOnDisk(), 3u * 18u);
    EXPECT_EQ(std::filesystem::file_size(test::fsPath(dir.file("r05.pts"))), 54u);
    bucket.release();
    EXPECT_FALSE(test::fileExists(dir.file("r05.pts")));
    EXPECT_EQ(bucket.totalPoints(), 0u);
    EXPECT_EQ(bucket.bytesOnDisk(), 0u);
}

TEST(PointBucketTest, HoldingExactlyTheLimitStaysInMemoryOneMoreSpills) {
    TempDir dir("bucket");
    PointBucket bucket(dir.path(), "root", 100);
    std::string error;
    const auto points = numbered(101);
    ASSERT_TRUE(bucket.add(points.data(), 60, error));
    ASSERT_TRUE(bucket.add(points.data() + 60, 40, error));
    EXPECT_FALSE(bucket.isSpilled());
    EXPECT_EQ(bucket.bytesOnDisk(), 0u);
    ASSERT_TRUE(bucket.add(points.data() + 100, 1, error));
    EXPECT_TRUE(bucket.isSpilled());
    PointArray back;
    ASSERT_TRUE(bucket.readAll(back, error)) << error;
    EXPECT_TRUE(std::equal(back.begin(), back.end(), points.begin(), points.end()));
    EXPECT_EQ(bucket.bytesOnDisk(), 101u * 18u);
}

// Point arrays grow from the heap into whole pages (2 MiB and more) and from pages into more
// pages, keeping every point; growing by resize adds zeros; moving hands the memory over.
TEST(PointArrayTest, KeepsItsPointsWhileGrowingFromTheHeapIntoPages) {
    const auto points = numbered(300000);  // 5,4 MB
    PointArray array;
    for (std::size_t done = 0; done < points.size(); done += 7001)
        array.append(points.data() + done, std::min<std::size_t>(7001, points.size() - done));
    ASSERT_EQ(array.size(), points.size());
    EXPECT_TRUE(std::equal(array.begin(), array.end(), points.begin(), points.end()));
    array.resize(400000);
    EXPECT_TRUE(std::equal(points.begin(), points.end(), array.begin()));
    EXPECT_TRUE(std::all_of(array.begin() + 300000, array.end(), [](const PointRecord& p) { return p == PointRecord{}; }));
    PointArray moved = std::move(array);
    EXPECT_TRUE(array.empty());
    EXPECT_EQ(array.capacity(), 0u);
    moved.resize(10);  // shrinking keeps the front
    EXPECT_TRUE(std::equal(moved.begin(), moved.end(), points.begin()));
}

// A bucket told how many points will come spills at once when they would not fit, instead of
// filling its memory first; what comes back is the same either way.
TEST(PointBucketTest, ExpectingMoreThanTheLimitSpillsAtOnce) {
    struct Case {
        std::uint64_t expected;
        bool spilledAtOnce;
    };
    for (const Case c : {Case{100, false}, Case{101, true}, Case{1000000, true}}) {
        TempDir dir("bucket");
        PointBucket bucket(dir.path(), "root", 100);
        std::string error;
        ASSERT_TRUE(bucket.expect(c.expected, error)) << error;
        EXPECT_EQ(bucket.isSpilled(), c.spilledAtOnce) << c.expected;
        const auto points = numbered(150);
        ASSERT_TRUE(bucket.add(points.data(), 100, error)) << error;
        EXPECT_EQ(bucket.isSpilled(), c.spilledAtOnce) << c.expected;
        ASSERT_TRUE(bucket.add(points.data() + 100, 50, error)) << error;
        EXPECT_TRUE(bucket.isSpilled());
        ASSERT_TRUE(bucket.finishWriting(error)) << error;
        EXPECT_EQ(bucket.bytesOnDisk(), 150u * 18u);
        PointArray back;
        ASSERT_TRUE(bucket.readAll(back, error)) << error;
        EXPECT_TRUE(std::equal(back.begin(), back.end(), points.begin(), points.end())) << c.expected;
    }
}

TEST(PointBucketTest, SpilledPointsComeBackInOrderAcrossBufferBoundaries) {
    TempDir dir("bucket");
    PointBucket bucket(dir.path(), "r7", 1000);
    std::string error;
    const auto points = numbered(200000);
    // Uneven pieces, so that the write buffer fills in the middle of an addition.
    std::size_t done = 0;
    for (std::size_t piece = 1; done < points.size(); piece = piece * 3 + 7) {
        const std::size_t n = std::min(piece % 70000 + 1, points.size() - done);
        ASSERT_TRUE(bucket.add(points.data() + done, n, error)) << error;
        done += n;
    }
    EXPECT_EQ(bucket.totalPoints(), points.size());
    ASSERT_TRUE(bucket.finishWriting(error));
    PointArray back;
    ASSERT_TRUE(bucket.readAll(back, error)) << error;
    EXPECT_TRUE(std::equal(back.begin(), back.end(), points.begin(), points.end()));
    // Reading again starts over; giving back what was read keeps the rest intact.
    ASSERT_TRUE(bucket.beginReading(error));
    std::vector<PointRecord> piece(70000);
    std::size_t count = 0, offset = 0;
    do {
        ASSERT_TRUE(bucket.read(piece.data(), piece.size(), count, error));
        for (std::size_t i = 0; i < count; ++i) ASSERT_EQ(piece[i], points[offset + i]) << offset + i;
        offset += count;
        bucket.discardReadPoints();
    } while (count > 0);
    EXPECT_EQ(offset, points.size());
}

TEST(PointBucketTest, ReadNeedsBeginReadingAndEndsWithZero) {
    TempDir dir("bucket");
    for (std::uint64_t limit : {std::uint64_t{0}, std::uint64_t{1000}}) {
        PointBucket bucket(dir.path(), "b", limit);
        std::string error;
        const auto points = numbered(10);
        ASSERT_TRUE(bucket.add(points.data(), points.size(), error));
        std::vector<PointRecord> out(16);
        std::size_t count = 5;
        EXPECT_FALSE(bucket.read(out.data(), out.size(), count, error));
        EXPECT_EQ(error, "PointBucket: read() called without beginReading()");
        ASSERT_TRUE(bucket.beginReading(error));
        ASSERT_TRUE(bucket.read(out.data(), 4, count, error));
        EXPECT_EQ(count, 4u);
        ASSERT_TRUE(bucket.read(out.data() + 4, 16, count, error));
        EXPECT_EQ(count, 6u);
        ASSERT_TRUE(bucket.read(out.data(), 16, count, error));
        EXPECT_EQ(count, 0u);
        out.resize(10);
        EXPECT_EQ(out[9], points[9]);
    }
}

TEST(PointBucketTest, SpillFailureNamesTheFile) {
    TempDir dir("bucket");
    const std::string missing = dir.file("no/such/folder");
    PointBucket bucket(missing, "r1", 0);
    const auto points = numbered(2);
    std::string error;
    EXPECT_FALSE(bucket.add(points.data(), points.size(), error));
    EXPECT_EQ(error.rfind("cannot create temporary file '" + missing, 0), 0u) << error;
}

TEST(PointBucketTest, AFailedBufferWriteBeforeReadingOrAtTheEndIsAFailedFlush) {
    struct FailNextWrite {
        static bool hook(SystemFile::Operation operation, void*) { return operation == SystemFile::Operation::Write; }
    };
    TempDir dir("bucket");
    const auto points = numbered(10);
    for (bool atTheEnd : {true, false}) {
        PointBucket bucket(dir.path(), "r1", 0);
        std::string error;
        ASSERT_TRUE(bucket.add(points.data(), points.size(), error)) << error;  // in the write buffer
        SystemFile::setFaultHook(&FailNextWrite::hook, nullptr);
        const bool ok = atTheEnd ? bucket.finishWriting(error) : bucket.beginReading(error);
        SystemFile::setFaultHook(nullptr, nullptr);
        EXPECT_FALSE(ok);
        EXPECT_EQ(error.rfind("flushing the temporary file failed: ", 0), 0u) << error;
    }
}

TEST(PointBucketTest, TakingPointsEmptiesTheBucketAndAnEmptyBucketReadsAsEmpty) {
    PointBucket bucket("/nonexistent-folder", "m", 100);
    const auto points = numbered(50);
    std::string error;
    ASSERT_TRUE(bucket.add(points.data(), points.size(), error));
    PointArray taken;
    bucket.takePoints(taken);
    EXPECT_TRUE(std::equal(taken.begin(), taken.end(), points.begin(), points.end()));
    EXPECT_EQ(bucket.totalPoints(), 0u);
    taken.resize(3);
    EXPECT_TRUE(bucket.readAll(taken, error)) << error;
    EXPECT_TRUE(taken.empty());
}

TEST(PointBucketTest, SharedPoolSpillsABucketBelowItsOwnLimit) {
    TempDir dir("bucket");
    BucketMemoryPool pool(10000);
    PointBucket first(dir.path(), "a", 8000, &pool);
    PointBucket second(dir.path(), "b", 8000, &pool);
    std::string error;
    const auto points = numbered(8000);
    ASSERT_TRUE(first.add(points.data(), points.size(), error));
    EXPECT_FALSE(first.isSpilled());
    EXPECT_GE(pool.inUse(), 8000u);
    ASSERT_TRUE(second.add(points.data(), points.size(), error));
    EXPECT_TRUE(second.isSpilled());  // the pool had no room left for it
    EXPECT_LE(pool.inUse(), pool.capacity());
    first.release();
    EXPECT_EQ(pool.inUse(), 0u);
    PointArray back;
    ASSERT_TRUE(second.readAll(back, error));
    EXPECT_TRUE(std::equal(back.begin(), back.end(), points.begin(), points.end()));
}

}  // namespace
}  // namespace ovcf
