#include <gtest/gtest.h>

#include <random>

#include "selection/BitmapRuns.h"
#include "selection/PointBitmap.h"

namespace ovcf {
namespace {

PointBitmap randomBitmap(std::uint64_t points, std::uint32_t seed, int oneIn) {
    PointBitmap bitmap;
    bitmap.reset(points);
    std::mt19937 random(seed);
    for (std::uint64_t g = 0; g < points; ++g)
        if (random() % oneIn == 0) bitmap.set(g);
    return bitmap;
}

std::uint64_t naiveCount(const PointBitmap& b, std::uint64_t first, std::uint64_t n) {
    std::uint64_t count = 0;
    for (std::uint64_t g = first; g < first + n && g < b.pointCount(); ++g) count += b.test(g);
    return count;
}

TEST(PointBitmap, WholeMapOperationsKeepBitsPastTheCountClear) {
    for (std::uint64_t points : {1ull, 63ull, 64ull, 65ull, 1000ull}) {
        PointBitmap b = randomBitmap(points, 7, 3);
        const std::uint64_t before = b.count();
        b.invertAll();
        EXPECT_EQ(b.count(), points - before) << points;
        b.setAll();
        EXPECT_EQ(b.count(), points);
        EXPECT_EQ(countBits(b.words().data(), b.words().size()), points) << "nothing set past the count";
        b.invertAll();
        EXPECT_EQ(countBits(b.words().data(), b.words().size()), 0u);
    }
}

TEST(PointBitmap, AndNotAndOrWithReportTheBitsTheyChanged) {
    PointBitmap a = randomBitmap(1000, 1, 2), b = randomBitmap(1000, 2, 3);
    std::uint64_t both = 0, onlyB = 0;
    for (std::uint64_t g = 0; g < 1000; ++g) {
        both += a.test(g) && b.test(g);
        onlyB += !a.test(g) && b.test(g);
    }
    PointBitmap c = a;
    EXPECT_EQ(c.orWith(b), onlyB);
    EXPECT_EQ(c.count(), a.count() + onlyB);
    EXPECT_EQ(c.andNot(b), b.count());
    EXPECT_EQ(c.count(), a.count() - both);
    EXPECT_EQ(countBits(c.words().data(), c.words().size()), c.count());
}

TEST(PointBitmap, CountRangeAcrossWordBoundaries) {
    const PointBitmap b = randomBitmap(300, 3, 2);
    const std::uint64_t ranges[][2] = {{0, 0}, {0, 300}, {5, 10}, {60, 8}, {63, 130}, {64, 64}, {250, 100}, {300, 5}, {299, 1}};
    for (const auto& r : ranges) EXPECT_EQ(b.countRange(r[0], r[1]), naiveCount(b, r[0], r[1])) << r[0] << "+" << r[1];
}

TEST(PointBitmap, FileBytesBeyondThePointCountAreDropped) {
    PointBitmap b;
    b.reset(10);
    const std::uint8_t bytes[] = {0xFF, 0xFF, 0xFF};
    b.loadBytes(bytes, sizeof bytes);
    EXPECT_EQ(b.count(), 10u);
}

TEST(BitmapRuns, UndoRecordsActLikeTheBitmapTheyCopyInTheSmallerForm) {
    PointBitmap block, ends;
    block.reset(100000);
    ends.reset(100000);
    for (std::uint64_t g = 20000; g < 30000; ++g) block.set(g);
    ends.set(0);
    ends.set(99999);
    struct Case {
        PointBitmap record;
        bool sparse;
    };
    const Case cases[] = {{randomBitmap(100000, 4, 2), false}, {block, false},
                          {randomBitmap(100000, 4, 50), true}, {randomBitmap(100000, 4, 5000), true}, {ends, true}};
    for (const Case& c : cases) {
        const BitmapRuns runs(c.record);
        EXPECT_EQ(runs.isSparse(), c.sparse);
        EXPECT_EQ(runs.count(), c.record.count());
        PointBitmap target = randomBitmap(100000, 5, 7), expected = target;
        EXPECT_EQ(runs.orInto(target), expected.orWith(c.record));
        EXPECT_EQ(target, expected);
        EXPECT_EQ(runs.clearFrom(target), expected.andNot(c.record));
        EXPECT_EQ(target, expected);
        if (c.sparse) {
            EXPECT_LE(runs.storedBytes(), 3 * c.record.count() + sizeof(BitmapRuns)) << "a few bytes a point";
        }
    }
}

}  // namespace
}  // namespace ovcf
