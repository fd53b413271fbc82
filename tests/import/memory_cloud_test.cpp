#include <cmath>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "import/MemoryCloud.h"
#include "import/Quantization.h"

namespace ovcf {
namespace {

using test::readPoints;

TEST(QuantizationTest, RoundsHalfAwayFromZero) {
    EXPECT_EQ(roundToQuantized(2.5), 3u);
    EXPECT_EQ(roundToQuantized(3.5), 4u);
    EXPECT_EQ(roundToQuantized(2.4999999), 2u);
    EXPECT_EQ(roundToQuantized(0.49999999999999994), 0u);  // x + 0.5 would round this up
    EXPECT_EQ(roundToQuantized(-2.5), static_cast<std::uint32_t>(-3));
    EXPECT_EQ(roundToQuantized(-0.5), static_cast<std::uint32_t>(-1));
    EXPECT_EQ(roundToQuantized(-0.4999), 0u);
    EXPECT_EQ(roundToQuantized(2147483647.0), 2147483647u);
    EXPECT_EQ(roundToQuantized(std::numeric_limits<double>::quiet_NaN()), 0u);
}

TEST(QuantizationTest, CoordinatesOnHalfStepsRoundAwayFromTheOffset) {
    // Steps and offsets that are exact in binary, so that the half steps are exact too.
    EXPECT_EQ(quantizeCoordinate(10.125, 10.0, 0.25), 1u);  // 0.5 step
    EXPECT_EQ(quantizeCoordinate(10.375, 10.0, 0.25), 2u);  // 1.5 steps
    EXPECT_EQ(quantizeCoordinate(-7.875, -8.0, 0.25), 1u);
    EXPECT_EQ(quantizeCoordinate(-8.125, -8.0, 0.25), static_cast<std::uint32_t>(-1));
}

TEST(MemoryCloudTest, OnePointSitsOnTheStepGridNearZero) {
    const double xyz[3] = {512345.67891, -4321.12345, 0.00049};
    MemoryCloud cloud(xyz, nullptr, 1, 0.001);
    for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(cloud.offset()[axis], std::floor(xyz[axis] / 0.001) * 0.001);
    const auto points = readPoints(cloud, 4);
    ASSERT_EQ(points.size(), 1u);
    for (std::uint32_t q : {points[0].x, points[0].y, points[0].z}) EXPECT_LE(q, 1u);
    EXPECT_EQ(cloud.bounds().min[1], -4321.12345);
    EXPECT_EQ(cloud.bounds().max[1], -4321.12345);
}

TEST(MemoryCloudTest, NegativeCoordinatesQuantiseFromTheMinimum) {
    const std::vector<double> xyz = {-10.3, -20.0, -1.0, -5.05, -19.95, -0.5, -7.77, -19.9, -0.25};
    MemoryCloud cloud(xyz.data(), nullptr, 3, 0.1);
    const auto points = readPoints(cloud, 2);
    ASSERT_EQ(points.size(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        const std::uint32_t q[3] = {points[i].x, points[i].y, points[i].z};
        for (int axis = 0; axis < 3; ++axis) {
            const double back = cloud.offset()[axis] + 0.1 * q[axis];
            EXPECT_NEAR(back, xyz[3 * i + axis], 0.05 + 1e-9) << "point " << i << " axis " << axis;
            EXPECT_LT(q[axis], 200u);
        }
    }
}

TEST(MemoryCloudTest, ColoursUnpackOrReadAsGrey) {
    const std::vector<double> xyz = {0, 0, 0, 1, 1, 1};
    const std::uint32_t colours[2] = {0x00123456u, 0xFFABCDEFu};
    MemoryCloud coloured(xyz.data(), colours, 2, 0.01);
    EXPECT_TRUE(coloured.hasColour());
    auto points = readPoints(coloured, 8);
    EXPECT_EQ(points[0].red, 0x12);
    EXPECT_EQ(points[0].green, 0x34);
    EXPECT_EQ(points[0].blue, 0x56);
    EXPECT_EQ(points[1].red, 0xAB);  // the top byte is not colour
    EXPECT_EQ(points[1].intensity, 0);
    EXPECT_EQ(points[1].classification, 0);

    MemoryCloud grey(xyz.data(), nullptr, 2, 0.01);
    EXPECT_FALSE(grey.hasColour());
    points = readPoints(grey, 8);
    for (const PointRecord& p : points) {
        EXPECT_EQ(p.red, 200);
        EXPECT_EQ(p.green, 200);
        EXPECT_EQ(p.blue, 200);
    }
}

TEST(MemoryCloudTest, BoundsMeasuredOnSeveralThreadsAreThoseOfOne) {
    // The extremes, and then a coordinate that is not finite, lie in the last thread's run.
    std::vector<double> xyz(3 * 2500000, 1.0);
    xyz[3 * 2499998] = -7.0;
    xyz[3 * 2499998 + 2] = 9.0;
    for (const bool finite : {true, false}) {
        if (!finite) xyz[3 * 2499999 + 1] = std::nan("");
        for (const unsigned threads : {1u, 3u}) {
            SCOPED_TRACE(threads);
            const MemoryCloud cloud(xyz.data(), nullptr, 2500000, 0.5, threads);
            EXPECT_EQ(cloud.bounds().min[0], -7.0);
            EXPECT_EQ(cloud.bounds().max[2], 9.0);
            std::string error;
            EXPECT_EQ(cloud.checkRange(error), finite) << error;
        }
    }
}

TEST(MemoryCloudTest, ReadsInBatchesUntilTheEnd) {
    std::vector<double> xyz;
    for (int i = 0; i < 10; ++i) xyz.insert(xyz.end(), {i * 1.0, 0.0, 0.0});
    MemoryCloud cloud(xyz.data(), nullptr, 10, 1.0);
    std::vector<PointRecord> buffer(4);
    std::size_t count = 99;
    std::string error;
    EXPECT_TRUE(cloud.read(nullptr, 4, count, error));
    EXPECT_EQ(count, 0u);
    EXPECT_TRUE(cloud.read(buffer.data(), 0, count, error));
    EXPECT_EQ(count, 0u);
    const auto points = readPoints(cloud, 4);
    ASSERT_EQ(points.size(), 10u);
    for (std::uint32_t i = 0; i < 10; ++i) EXPECT_EQ(+points[i].x, i);
    EXPECT_TRUE(cloud.read(buffer.data(), 4, count, error));
    EXPECT_EQ(count, 0u);
}

TEST(MemoryCloudTest, DescriptionNamesCountColourAndStepAndAStepNotAboveZeroIsTheDefault) {
    std::vector<double> xyz(3 * 12345, 1.0);
    std::vector<std::uint32_t> colours(12345, 0);
    EXPECT_EQ(MemoryCloud(xyz.data(), colours.data(), 12345, 0.001).description(),
              "nuvola in memoria, 12.345 punti, con colore, passo 0.0010 m");
    EXPECT_EQ(MemoryCloud(xyz.data(), nullptr, 12345, 0).description(),
              "nuvola in memoria, 12.345 punti, senza colore, passo 0.0001 m");
    const MemoryCloud negative(xyz.data(), nullptr, 1, -0.5);
    EXPECT_EQ(negative.step()[0], 0.0001);
    EXPECT_EQ(negative.step()[2], 0.0001);
}

TEST(MemoryCloudRangeTest, EveryAxisMustFitThirtyOneBitsOfTheStepAndBeFinite) {
    const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
    struct Case {
        std::vector<double> xyz;
        double step;
        const char* error;  // nullptr: in range
    };
    const Case cases[] = {
        {{0, 0, 0, 10, 300000, 5}, 0.0001,  // Y alone too wide
         "the cloud extends 300000.0 m along Y, too much for the 0.0001 m quantisation step: use a coarser step"},
        {{0, 0, 0, 300000, 1, 400000}, 0.0001,  // X and Z too wide: the first is named
         "the cloud extends 300000.0 m along X, too much for the 0.0001 m quantisation step: use a coarser step"},
        {{0, 0, 0, 300000, 1, 400000}, 0.001, nullptr},
        {{0, 0, 0, 2147483647.0, 0, 0}, 1.0, nullptr},
        {{0, 0, 0, 2147483648.0, 0, 0}, 1.0,
         "the cloud extends 2147483648.0 m along X, too much for the 1.0000 m quantisation step: use a coarser step"},
        {{0, 0, 0, nan, 1, 1}, 0.01, "the cloud contains coordinates that are not finite numbers"},
        {{500000, 4000000, 100, 500010, 4000010, 110}, inf, "the quantisation step must be a finite number of metres above 0"},
    };
    for (const Case& c : cases) {
        std::string error;
        const MemoryCloud cloud(c.xyz.data(), nullptr, c.xyz.size() / 3, c.step);
        EXPECT_EQ(cloud.checkRange(error), c.error == nullptr) << error;
        if (c.error) {
            EXPECT_EQ(error, c.error);
        }
    }
    // No coordinates is an empty cloud, whatever count comes with them.
    const MemoryCloud none(nullptr, nullptr, 5, 0.01);
    std::string error;
    EXPECT_TRUE(none.checkRange(error));
    EXPECT_EQ(none.pointCount(), 0u);
}

TEST(MemoryCloudRangeTest, EveryStepOrOffsetThatIsNotAFiniteNumberIsRefused) {
    const double inf = std::numeric_limits<double>::infinity(), nan = std::numeric_limits<double>::quiet_NaN();
    Bounds3 bounds;
    bounds.max = {10.0, 10.0, 10.0};
    struct Case {
        double step, offset;
        const char* error;
    };
    for (const Case& c : {Case{inf, 0.0, "the quantisation step must be a finite number of metres above 0"},
                          Case{nan, 0.0, "the quantisation step must be a finite number of metres above 0"},
                          Case{0.0, 0.0, "the quantisation step must be a finite number of metres above 0"},
                          Case{-0.001, 0.0, "the quantisation step must be a finite number of metres above 0"},
                          Case{0.001, inf, "the quantisation offset is not a finite number"},
                          Case{0.001, -inf, "the quantisation offset is not a finite number"},
                          Case{0.001, nan, "the quantisation offset is not a finite number"}}) {
        std::string error;
        EXPECT_FALSE(checkQuantizationRange(bounds, {0.0, c.offset, 0.0}, {0.001, c.step, 0.001}, error))
            << c.step << " " << c.offset;
        EXPECT_EQ(error, c.error);
    }
}

}  // namespace
}  // namespace ovcf
