#include <gtest/gtest.h>

#include "import/NodeGrid.h"
#include "import/RootCube.h"

namespace ovcf {
namespace {

IntegerBox boxOf(std::int32_t lowX, std::int32_t highX, std::int32_t lowY = 0, std::int32_t highY = 0) {
    IntegerBox box;
    PointRecord p;
    p.x = static_cast<std::uint32_t>(lowX);
    p.y = static_cast<std::uint32_t>(lowY);
    box.add(p);
    p.x = static_cast<std::uint32_t>(highX);
    p.y = static_cast<std::uint32_t>(highY);
    box.add(p);
    return box;
}

std::uint32_t exponentFor(std::int32_t extent) {
    RootCube cube;
    std::string error;
    EXPECT_TRUE(computeRootCube(boxOf(10, 10 + extent - 1), cube, error)) << error;
    return cube.exponent;
}

TEST(RootCubeTest, ExponentIsTheSmallestCoveringTheLargestExtent) {
    EXPECT_EQ(exponentFor(1), 1u);  // never below 1
    EXPECT_EQ(exponentFor(2), 1u);
    EXPECT_EQ(exponentFor(3), 2u);
    EXPECT_EQ(exponentFor(4), 2u);
    EXPECT_EQ(exponentFor(5), 3u);
    EXPECT_EQ(exponentFor(1 << 20), 20u);
    EXPECT_EQ(exponentFor((1 << 20) + 1), 21u);
}

TEST(RootCubeTest, OriginIsTheBoxMinimumOfEveryAxis) {
    RootCube cube;
    std::string error;
    ASSERT_TRUE(computeRootCube(boxOf(7, 9, 100, 300), cube, error));
    EXPECT_EQ(cube.origin[0], 7u);
    EXPECT_EQ(cube.origin[1], 100u);
    EXPECT_EQ(cube.exponent, 8u);  // Y spans 201 units
}

TEST(RootCubeTest, FullThirtyTwoBitRangeAndEmptyBox) {
    RootCube cube;
    std::string error;
    ASSERT_TRUE(computeRootCube(boxOf(INT32_MIN, INT32_MAX), cube, error)) << error;
    EXPECT_EQ(cube.exponent, 32u);
    EXPECT_FALSE(computeRootCube(IntegerBox{}, cube, error));
    EXPECT_EQ(error, "invalid integer bounding box (no points?)");
}

TEST(RootCubeTest, WorldBoundsAreOrderedWhateverTheStepSign) {
    const IntegerBox box = boxOf(0, 100, 10, 20);
    const Bounds3 b = worldBounds(box, {0.01, -0.5, 1.0}, {1000.0, 50.0, 0.0});
    EXPECT_DOUBLE_EQ(b.min[0], 1000.0);
    EXPECT_DOUBLE_EQ(b.max[0], 1001.0);
    EXPECT_DOUBLE_EQ(b.min[1], 40.0);
    EXPECT_DOUBLE_EQ(b.max[1], 45.0);
}

TEST(NodeGridTest, CellsAndOctantsOfALargeCube) {
    RootCube cube;
    cube.origin[0] = 1000;
    cube.origin[1] = 2000;
    cube.origin[2] = 3000;
    cube.exponent = 10;  // side 1024, grid 4: cells of 256 units
    NodeGrid grid;
    grid.configure(cube, NodeKey{}, 4);
    PointRecord p;
    p.x = 1000 + 255;
    p.y = 2000 + 256;
    p.z = 3000 + 1023;
    EXPECT_EQ(grid.cellOf(p), (3u * 4 + 1) * 4 + 0);
    EXPECT_EQ(grid.octantOf(p), 0u + 0u + 4u);  // x below half, y below half, z above
    p.x = 1000 + 512;
    EXPECT_EQ(grid.octantOf(p), 5u);

    // One level down, child (1, 1, 0, 1): origin 1512, 2000, 3512, side 512, cells of 128.
    grid.configure(cube, NodeKey{1, 1, 0, 1}, 4);
    p.x = 1512 + 511;
    p.y = 2000 + 128;
    p.z = 3512 + 0;
    EXPECT_EQ(grid.cellOf(p), (0u * 4 + 1) * 4 + 3);
    EXPECT_EQ(grid.octantOf(p), 1u);
}

TEST(NodeGridTest, CubesSmallerThanTheGridSpreadCellsApart) {
    RootCube cube;
    cube.exponent = 2;  // side 4, grid 16: each unit spans four cells, the first one is used
    NodeGrid grid;
    grid.configure(cube, NodeKey{}, 16);
    PointRecord p;
    p.x = 3;
    p.y = 1;
    p.z = 2;
    EXPECT_EQ(grid.cellOf(p), (8u * 16 + 4) * 16 + 12);
    EXPECT_EQ(grid.octantOf(p), 1u + 0u + 4u);
}

TEST(NodeGridTest, OccupancyKeepsTheFirstPointOfACellAndClearsWhatWasKept) {
    OccupancyBitmap occupancy;
    occupancy.resize(64 * 64 * 64);
    RootCube cube;
    cube.exponent = 6;  // one unit a cell
    NodeGrid grid;
    grid.configure(cube, NodeKey{}, 64);
    PointRecord kept[2];
    kept[0].x = 5;
    kept[1].x = kept[1].y = kept[1].z = 63;
    for (const PointRecord& p : kept) EXPECT_FALSE(occupancy.testAndSet(grid.cellOf(p)));
    for (const PointRecord& p : kept) EXPECT_TRUE(occupancy.testAndSet(grid.cellOf(p)));
    EXPECT_EQ(grid.cellOf(kept[1]), 262143u);
    occupancy.clearCellsOf(grid, kept, 2);
    for (const PointRecord& p : kept) EXPECT_FALSE(occupancy.testAndSet(grid.cellOf(p)));
}

}  // namespace
}  // namespace ovcf
