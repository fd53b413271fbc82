#include <gtest/gtest.h>

#include <cmath>

#include "navigation/Camera.h"
#include "navigation/ClipBox.h"
#include "navigation/DepthStatistics.h"

namespace ovcf {
namespace {

// A camera straight above the origin, 100 m up, 800 x 600 pixels.
Camera topCamera() {
    Camera camera;
    camera.setViewport(800, 600);
    camera.sceneRadius = 100;
    camera.target = {0, 0, 0};
    camera.distance = 100;
    camera.setStandardView(0);
    return camera;
}

ClipBox unitBox() {
    ClipBox box;
    Camera camera = topCamera();
    // 2 m either way at 100 m: the pixels that span it, around the view's centre.
    const double pixelsPerMetre = 600 / (2 * std::tan(camera.fieldOfView / 2) * 100);
    EXPECT_TRUE(box.buildFromRectangle(camera, 400 - pixelsPerMetre, 300 - pixelsPerMetre, 400 + pixelsPerMetre,
                                       300 + pixelsPerMetre, 99, 101));
    return box;
}

TEST(ClipBox, BuiltFromARectangleItCoversWhatTheRectangleShows) {
    const ClipBox box = unitBox();
    EXPECT_TRUE(box.isActive());
    for (int a = 0; a < 3; ++a) EXPECT_NEAR(box.halfExtent(a), 1.0, 1e-9) << a;
    EXPECT_NEAR(box.centre().x, 0, 1e-9);
    EXPECT_NEAR(box.centre().y, 0, 1e-9);
    EXPECT_NEAR(box.centre().z, 0, 1e-9);
    EXPECT_NEAR(box.axis(2).z, -1.0, 1e-12) << "Z along the view, downward from above";
    ClipBox unchanged = box;
    EXPECT_FALSE(unchanged.buildFromRectangle(topCamera(), 0, 0, 3, 100, 1, 2)) << "a 3 x 100 band builds nothing";
    EXPECT_EQ(unchanged.halfExtent(0), box.halfExtent(0));
}

TEST(ClipBox, ContainsOverlapsAndRenderPlanesAgree) {
    const ClipBox box = unitBox();
    const Vec3d origin{10, 20, 30};
    const auto planes = box.renderPlanes(origin);
    const struct {
        Vec3d p;
        bool inside;
    } points[] = {{{0.999, 0.999, 0.999}, true}, {{-0.999, 0, 0.5}, true}, {{1.001, 0, 0}, false}, {{0, 0, -1.5}, false}};
    for (const auto& c : points) {
        EXPECT_EQ(box.contains(c.p), c.inside);
        bool allPlanes = true;
        const Vec3d r = c.p - origin;
        for (const ClipPlane& plane : planes)
            allPlanes &= plane.normal[0] * r.x + plane.normal[1] * r.y + plane.normal[2] * r.z + plane.offset >= -1e-4;
        EXPECT_EQ(allPlanes, c.inside) << c.p.x << "," << c.p.y << "," << c.p.z;
    }
    EXPECT_TRUE(box.overlapsBox({0.9999, 0.9999, 0.9999}, {3, 3, 3})) << "a corner inside overlaps";
    ClipBox exact;  // a box that only touches a face overlaps
    ASSERT_TRUE(exact.buildFromRectangle(topCamera(), 0, 0, 800, 600, 99, 101));
    const double edge = exact.centre().x + exact.halfExtent(0);
    EXPECT_TRUE(exact.overlapsBox({edge, -1, -1}, {edge + 1, 1, 1}));
    EXPECT_FALSE(box.overlapsBox({1.01, -5, -5}, {3, 5, 5}));
    EXPECT_TRUE(ClipBox{}.overlapsBox({100, 100, 100}, {101, 101, 101})) << "an empty box holds everything";
}

TEST(ClipBox, ARotatedBoxIsSeparatedAlongItsOwnAxis) {
    // From an oblique view the box is turned; a world box beyond its corner along the box's
    // diagonal direction only separates on the box's axes.
    Camera camera = topCamera();
    camera.setStandardView(-1);
    ClipBox box;
    ASSERT_TRUE(box.buildFromRectangle(camera, 380, 280, 420, 320, 99, 101));
    const Vec3d far = box.centre() + box.axis(0) * (box.halfExtent(0) + 0.3) + box.axis(1) * (box.halfExtent(1) + 0.3);
    EXPECT_FALSE(box.contains(far));
    EXPECT_FALSE(box.overlapsBox(far - Vec3d{0.05, 0.05, 0.05}, far + Vec3d{0.05, 0.05, 0.05}));
}

TEST(ClipBox, FacesMoveButNeverCloserThanOneCentimetre) {
    ClipBox box = unitBox();
    const Vec3d opposite = box.faceCentre(1);
    box.moveFace(0, -5.0);  // inward past the opposite face
    EXPECT_NEAR(2 * box.halfExtent(0), 0.01, 1e-12);
    EXPECT_NEAR(length(box.faceCentre(1) - opposite), 0, 1e-12) << "the opposite face stays";
    box.moveFace(0, 1.0);
    EXPECT_NEAR(2 * box.halfExtent(0), 1.01, 1e-12);

    const double depth = box.halfExtent(2);
    const Vec3d centre = box.centre();
    for (double ignored : {0.0, -2.0}) {
        box.scaleThickness(ignored);
        EXPECT_EQ(box.halfExtent(2), depth);
    }
    box.scaleThickness(0.5);
    EXPECT_NEAR(box.halfExtent(2), depth / 2, 1e-12);
    EXPECT_EQ(box.centre(), centre);

    ClipBox cleared;
    cleared.setActive(true);
    EXPECT_TRUE(cleared.activeFlag());
    EXPECT_FALSE(cleared.isActive()) << "an empty box is never in use";
}

TEST(ClipBox, HandlesArePickedWithinTwelvePixelsAndDragTheirFace) {
    Camera camera = topCamera();
    ClipBox box = unitBox();
    const ProjectedPoint right = camera.project(box.faceCentre(0));
    EXPECT_EQ(box.hitHandle(camera, right.x + 11, right.y), 0);
    EXPECT_EQ(box.hitHandle(camera, right.x + 13, right.y), ClipBox::kNoHandle);
    ASSERT_TRUE(box.pressHandle(0, right.x, right.y));
    const double pixelsPerMetre = 600 / (2 * std::tan(camera.fieldOfView / 2) * 100);
    box.dragHandle(camera, right.x + pixelsPerMetre, right.y);  // one metre further out
    EXPECT_NEAR(2 * box.halfExtent(0), 3.0, 0.02);
    EXPECT_NEAR(box.faceCentre(1).x, -1.0, 0.02) << "the opposite face stays";
}

TEST(DepthStatistics, PercentilesOfTheWidenedRectangle) {
    const double n = 1.0, f = 1000.0;
    // Depth values that give the wanted linear distances.
    const auto depthOf = [&](double d) { return float(((f + n - 2 * n * f / d) / (f - n) + 1) / 2); };
    struct Case {
        std::vector<double> distances;
        double nearest, farthest, from, to;
    } cases[] = {
        {{10, 10, 10, 11, 11, 11, 12, 12, 12, 12}, 10, 12, 9, 13},
        {{20, 20, 20, 20}, 20, 20, 19.75, 20.25},
    };
    for (const Case& c : cases) {
        const DepthStatistics stats = depthStatistics(
            10.2, 5.7, 12.9, 6.1, 100, 50, n, f, [&](int x, int y, int w, int h, std::vector<float>& depth) {
                EXPECT_EQ(x, 10);
                EXPECT_EQ(w, 3);
                EXPECT_EQ(y, 50 - 7);  // rows counted from the bottom
                EXPECT_EQ(h, 2);
                depth.clear();
                for (double d : c.distances) depth.push_back(depthOf(d));
                depth.push_back(1.0f);  // background does not count
                return true;
            });
        ASSERT_TRUE(stats.found);
        EXPECT_NEAR(stats.nearest, c.nearest, 1e-3);
        EXPECT_NEAR(stats.farthest, c.farthest, 1e-3);
        const double margin = 0.5 * std::max(0.5, stats.farthest - stats.nearest);
        EXPECT_NEAR(std::max(stats.nearest - margin, 0.01), c.from, 1e-3);
        EXPECT_NEAR(stats.farthest + margin, c.to, 1e-3);
    }
    const auto background = [](int, int, int, int, std::vector<float>& depth) {
        depth.assign(4, 1.0f);
        return true;
    };
    EXPECT_FALSE(depthStatistics(0, 0, 2, 2, 100, 50, n, f, background).found);
    EXPECT_FALSE(depthStatistics(100, 0, 120, 20, 100, 50, n, f, background).found) << "outside the viewport";
}

}  // namespace
}  // namespace ovcf
