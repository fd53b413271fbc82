#include <gtest/gtest.h>

#include "import/ImportOptions.h"

namespace ovcf {
namespace {

TEST(ImportOptionsTest, DefaultsAreValid) {
    ImportOptions options;
    std::string error;
    EXPECT_TRUE(validateOptions(options, error)) << error;
    EXPECT_EQ(options.gridSize, 128u);
    EXPECT_EQ(options.maxNodePoints, 50000u);
    EXPECT_TRUE(options.compression);
    EXPECT_EQ(options.pointFormat, 2u);
    EXPECT_GE(options.ramBudget, std::uint64_t{1} << 30);
    EXPECT_LE(options.ramBudget, std::uint64_t{8} << 30);
}

TEST(ImportOptionsTest, GridSizeMustBeAPowerOfTwoFromTwoTo256) {
    ImportOptions options;
    std::string error;
    for (std::uint32_t good : {2u, 4u, 128u, 256u}) {
        options.gridSize = good;
        EXPECT_TRUE(validateOptions(options, error)) << good;
    }
    for (std::uint32_t bad : {0u, 1u, 3u, 100u, 384u, 512u}) {
        options.gridSize = bad;
        EXPECT_FALSE(validateOptions(options, error));
        EXPECT_EQ(error, "gridSize must be a power of two between 2 and 256 (received: " + std::to_string(bad) + ")");
    }
}

TEST(ImportOptionsTest, RefusalsComeInOrder) {
    ImportOptions options;
    std::string error;
    options.maxNodePoints = 999;
    options.ramBudget = 1048575;
    options.pointFormat = 3;
    EXPECT_FALSE(validateOptions(options, error));
    EXPECT_EQ(error, "maxNodePoints must be at least 1000 (received: 999)");
    options.maxNodePoints = 50000001;  // no node may hold more, separable or not
    EXPECT_FALSE(validateOptions(options, error));
    EXPECT_EQ(error, "maxNodePoints must be at most 50000000 (received: 50000001)");
    options.maxNodePoints = 50000000;
    EXPECT_FALSE(validateOptions(options, error));
    EXPECT_EQ(error, "the RAM budget must be at least 1 MiB");
    options.ramBudget = 1048576;
    EXPECT_FALSE(validateOptions(options, error));
    EXPECT_EQ(error, "invalid point format");
    options.pointFormat = 0;
    EXPECT_TRUE(validateOptions(options, error));
}

TEST(ImportOptionsTest, BucketLimitIsABudgetShareOfAtLeast1024Points) {
    EXPECT_EQ(bucketRamLimitPoints(1048576), 7281u);  // 1 MiB / 144
    EXPECT_EQ(bucketRamLimitPoints(147455), 1024u);
    EXPECT_EQ(bucketRamLimitPoints(std::uint64_t{1} << 30), 7456540u);
    // The buckets together, and the split in memory of the largest, stay within the budget.
    for (std::uint64_t budget : {std::uint64_t{16} << 20, std::uint64_t{1} << 30, std::uint64_t{8} << 30}) {
        ImportOptions options;
        options.ramBudget = budget;
        const std::uint64_t limit = bucketRamLimitPoints(budget);
        EXPECT_LE(bucketPoolPoints(options) * 18 + limit * 19, budget);
    }
}

TEST(ImportOptionsTest, GridAndInseparableLeavesShrinkToTheBudget) {
    struct Case {
        std::uint32_t grid;
        std::uint64_t budget;
        std::uint32_t effectiveGrid;
        std::uint64_t largestLeaf;
    };
    // A node's sample (G^3 points) and a leaf both need 54 bytes a point, within half the budget.
    for (const Case& c : {Case{256, std::uint64_t{4} << 30, 256, 39768215}, Case{256, std::uint64_t{1} << 30, 128, 9942053},
                          Case{128, std::uint64_t{16} << 20, 32, 155344}, Case{2, 1 << 20, 2, 9709},
                          Case{16, 1 << 20, 16, 9709}}) {
        ImportOptions options;
        options.gridSize = c.grid;
        options.ramBudget = c.budget;
        options.maxNodePoints = 1000;
        EXPECT_EQ(effectiveGridSize(options), c.effectiveGrid) << c.grid << " " << c.budget;
        EXPECT_EQ(largestLeafForBudget(options), c.largestLeaf) << c.budget;
    }
    ImportOptions options;
    options.ramBudget = 1 << 20;
    options.maxNodePoints = 20000;  // never below the separable limit
    EXPECT_EQ(largestLeafForBudget(options), 20000u);
}

TEST(ImportOptionsTest, ReadingShareOutsideTheOpenIntervalIsOneHalf) {
    ImportOptions options;
    for (double share : {0.0, 1.0, -0.2, 3.0}) {
        options.readingShare = share;
        EXPECT_EQ(effectiveReadingShare(options), 0.5) << share;
    }
    options.readingShare = 0.15;
    EXPECT_EQ(effectiveReadingShare(options), 0.15);
}

}  // namespace
}  // namespace ovcf
