// The depth pick over a made-up depth buffer, the plane fit through three points, and the
// nearest-point walk over a small octree.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "cloud/NearestPoint.h"
#include "navigation/DepthPick.h"
#include "navigation/PlanePick.h"

namespace ovcf {
namespace {

constexpr int kWidth = 200, kHeight = 100;

// A depth buffer of background with the given samples (window pixels, y down), read as GL does.
DepthReader depthWith(std::vector<std::array<int, 3>> samples) {
    return [samples](int x, int y, int w, int h, std::vector<float>& depth) {
        depth.assign(std::size_t(w) * h, 1.0f);
        for (const auto& [px, py, milli] : samples) {
            const int row = (kHeight - 1 - py) - y, column = px - x;
            if (row >= 0 && row < h && column >= 0 && column < w) depth[std::size_t(row) * w + column] = milli / 1000.0f;
        }
        return true;
    };
}

TEST(DepthPick, TheNearestSampleWithinTwelvePixelsWins) {
    const struct {
        double x, y;
        std::vector<std::array<int, 3>> samples;
        bool found;
        int px, py;
    } cases[] = {
        {110, 50, {{100, 50, 500}}, true, 100, 50},               // 10 pixels away
        {113, 50, {{100, 50, 500}}, false, 0, 0},                 // 13 pixels away
        {108.4, 58.6, {{100, 50, 500}}, true, 100, 50},           // rounded to (108, 59): corner of the window
        {100, 50, {{95, 50, 500}, {103, 50, 900}}, true, 103, 50},  // nearer on screen, not in depth
        {1, 98, {{0, 99, 500}}, true, 0, 99},                     // the window clamped at the corner
        {-1, 50, {{0, 50, 500}}, false, 0, 0},                    // outside the viewport
        {199.6, 50, {{199, 50, 500}}, false, 0, 0},               // rounds to 200: outside
        {50, 50, {}, false, 0, 0},                                // background only
    };
    for (const auto& c : cases) {
        const auto sample = pickDepth(c.x, c.y, kWidth, kHeight, 1.0, 100.0, depthWith(c.samples));
        ASSERT_EQ(sample.has_value(), c.found) << c.x << "," << c.y;
        if (!c.found) continue;
        EXPECT_EQ(sample->x, c.px);
        EXPECT_EQ(sample->y, c.py);
    }
    // Equal distances: the first in reading order (the lower row) wins; depth becomes metres.
    const auto tie = pickDepth(100, 50, kWidth, kHeight, 1.0, 100.0, depthWith({{100, 45, 200}, {100, 55, 600}}));
    ASSERT_TRUE(tie);
    EXPECT_EQ(tie->y, 55);
    EXPECT_NEAR(tie->distance, linearDistance(0.6f, 1.0, 100.0), 1e-9);
}

TEST(PlaneFit, InclinationAzimuthAndCameraAnglesOfTypicalPlanes) {
    const Vec3d above{0, 0, 50}, plusY{0, 60, 0};
    const struct {
        Vec3d p1, p2, p3, eye;
        Vec3d normal;
        double inclination, azimuth, yaw, pitch;
    } cases[] = {
        {{0, 0, 0}, {4, 0, 0}, {0, 3, 0}, above, {0, 0, 1}, 0.0, 0.0, -50.0, 90.0},
        {{0, 0, 0}, {0, 3, 0}, {4, 0, 0}, above, {0, 0, 1}, 0.0, 0.0, -50.0, 90.0},  // turned to the camera
        {{0, 0, 0}, {4, 0, 2}, {0, 3, 0}, above, Vec3d{-0.5, 0, 1} / std::sqrt(1.25), 26.565051, 270.0, 180.0, 63.434949},
        {{0, 0, 0}, {4, 0, 0}, {0, 0, 3}, plusY, {0, 1, 0}, 90.0, 0.0, 90.0, 0.0},
    };
    for (const auto& c : cases) {
        double ratio = 0;
        const auto plane = fitPlane(c.p1, c.p2, c.p3, c.eye, -50.0, ratio);
        ASSERT_TRUE(plane);
        EXPECT_NEAR(plane->normal.x, c.normal.x, 1e-9);
        EXPECT_NEAR(plane->normal.y, c.normal.y, 1e-9);
        EXPECT_NEAR(plane->normal.z, c.normal.z, 1e-9);
        EXPECT_NEAR(plane->inclination, c.inclination, 1e-6);
        EXPECT_NEAR(plane->azimuth, c.azimuth, 1e-6);
        EXPECT_NEAR(plane->yaw, c.yaw, 1e-6);
        EXPECT_NEAR(plane->pitch, c.pitch, 1e-6);
    }
    double ratio = 1;
    EXPECT_FALSE(fitPlane({0, 0, 0}, {1, 1, 1}, {3, 3, 3}, above, 0, ratio));
    EXPECT_EQ(ratio, 0.0);
    EXPECT_FALSE(fitPlane({0, 0, 0}, {10, 0, 0}, {5, 0.19, 0}, above, 0, ratio)) << "1.9 % is too thin";
    EXPECT_TRUE(fitPlane({0, 0, 0}, {10, 0, 0}, {5, 0.21, 0}, above, 0, ratio));
    EXPECT_FALSE(fitPlane({1, 1, 1}, {1, 1, 1}, {1, 1, 1}, above, 0, ratio)) << "no side at all";
}

TEST(NearestPoint, TheWalkEntersOnlyNodesWithinTheRadius) {
    // A root with two children 10 m apart; the root holds one point, each child two.
    std::vector<NodeInfo> nodes(3);
    nodes[0].boxMin = {0, 0, 0}, nodes[0].boxMax = {20, 10, 10}, nodes[0].pointCount = 1;
    nodes[0].children[0] = 1, nodes[0].children[1] = 2;
    nodes[1].boxMin = {0, 0, 0}, nodes[1].boxMax = {10, 10, 10}, nodes[1].pointCount = 2, nodes[1].level = 1;
    nodes[2].boxMin = {10, 0, 0}, nodes[2].boxMax = {20, 10, 10}, nodes[2].pointCount = 2, nodes[2].level = 1;
    nodes[2].origin[0] = 10;
    const std::vector<std::vector<PointVertex>> points = {
        {{9.8f, 5, 5, 1, 2, 3, 0, 0, 0, 0}},
        {{9.9f, 5, 5, 4, 5, 6, 0, 0, 0, 1}, {2, 2, 2, 0, 0, 0, 0, 0, 0, 2}},
        {{0.3f, 5, 5, 7, 8, 9, 0, 0, 0, 3}, {5, 5, 5, 0, 0, 0, 0, 0, 0, 4}},
    };
    std::vector<std::uint32_t> read;
    const NodeVertices vertices = [&](std::uint32_t node, std::vector<PointVertex>& out) {
        read.push_back(node);
        out = points[node];
        return true;
    };
    const auto all = [](const Vec3d&, const PointVertex&) { return true; };
    const auto nearest = findNearestPoint(nodes, {10.0, 5, 5}, 0.5, vertices, all);
    ASSERT_TRUE(nearest);
    EXPECT_EQ(nearest->vertex.index, 1u);
    EXPECT_EQ(nearest->level, 1u);
    EXPECT_NEAR(nearest->distance, 0.1, 1e-5);

    read.clear();
    const auto hidden = [](const Vec3d&, const PointVertex& v) { return v.index != 1; };
    EXPECT_EQ(findNearestPoint(nodes, {10.0, 5, 5}, 0.5, vertices, hidden)->vertex.index, 0u) << "deleted is skipped";
    EXPECT_FALSE(findNearestPoint(nodes, {2.0, 2, 3}, 0.5, vertices, all)) << "1 m away";

    read.clear();
    EXPECT_EQ(findNearestPoint(nodes, {15.0, 5, 5}, 0.5, vertices, all)->vertex.index, 4u);
    EXPECT_EQ(read, (std::vector<std::uint32_t>{0, 2})) << "the far child is never read";
}

}  // namespace
}  // namespace ovcf
