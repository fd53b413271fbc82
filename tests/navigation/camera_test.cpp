#include <gtest/gtest.h>

#include <cmath>

#include "navigation/Camera.h"

namespace ovcf {
namespace {

constexpr double kPi = 3.14159265358979323846;

Camera cameraOf(int width, int height) {
    Camera c;
    c.setViewport(width, height);
    return c;
}

void expectNear(const Vec3d& a, const Vec3d& b, double tolerance) {
    EXPECT_NEAR(a.x, b.x, tolerance);
    EXPECT_NEAR(a.y, b.y, tolerance);
    EXPECT_NEAR(a.z, b.z, tolerance);
}

// The screen's up direction in world space, seen through unproject.
Vec3d screenUp(const Camera& c) {
    const double depth = c.distance;
    return normalized(c.unproject(c.viewportWidth / 2.0, 0.0, depth) -
                      c.unproject(c.viewportWidth / 2.0, c.viewportHeight / 2.0, depth));
}

TEST(Camera, PitchStopsAtThePolesAndTheTopViewKeepsNorthUp) {
    Camera c = cameraOf(800, 600);
    c.yaw = -90.0;
    c.pitch = 80.0;
    c.orbit(0.0, 25.0);
    EXPECT_EQ(c.pitch, 90.0);
    expectNear(screenUp(c), {0, 1, 0}, 1e-9);
    expectNear(normalized(c.eyePosition() - c.target), {0, 0, 1}, 1e-9);
    c.orbit(0.0, 10.0);  // dragging further upward does nothing
    EXPECT_EQ(c.pitch, 90.0);
    c.orbit(0.0, -400.0);
    EXPECT_EQ(c.pitch, -90.0);
    c.setStandardView(1);
    expectNear(screenUp(c), {0, -1, 0}, 1e-9);
    // The view matrix agrees: the screen's up is the second row.
    const Mat4d v = c.viewMatrix();
    expectNear({v.at(1, 0), v.at(1, 1), v.at(1, 2)}, {0, -1, 0}, 1e-9);
}

TEST(Camera, YawWrapsIntoPlusMinus180) {
    Camera c;
    c.yaw = 180.0;
    c.orbit(10.0, 0.0);
    EXPECT_DOUBLE_EQ(c.yaw, -170.0);
    c.yaw = -175.0;
    c.orbit(-10.0, 0.0);
    EXPECT_DOUBLE_EQ(c.yaw, 175.0);
    c.orbit(1000.0, 0.0);
    EXPECT_GE(c.yaw, -180.0);
    EXPECT_LE(c.yaw, 180.0);
    EXPECT_NEAR(c.yaw, 175.0 + 1000.0 - 3 * 360.0, 1e-9);
    const double yaw = c.yaw;
    c.orbit(std::nan(""), 1.0);
    EXPECT_EQ(c.yaw, yaw);
}

TEST(Camera, WheelZoomsAboutTheTargetWithinTheDistanceClamp) {
    Camera c = cameraOf(800, 600);
    c.fitBox({0, 0, 0}, {10, 10, 10});
    const Vec3d target = c.target;
    const double d = c.distance;
    c.zoomWheel(10.0);
    EXPECT_NEAR(c.distance, d * std::pow(0.85, 10.0), 1e-12 * d);
    EXPECT_EQ(c.target, target);
    c.zoomWheel(-10000.0);
    EXPECT_EQ(c.distance, 500.0 * c.sceneRadius);

    // A 1 mm scene: the lower clamp is the absolute 1e-4 m, not 1e-5 × radius.
    c.fitBox({0, 0, 0}, {0.001, 0.001, 0.001});
    for (int i = 0; i < 100; ++i) c.zoomWheel(10.0);
    EXPECT_EQ(c.distance, 1e-4);
    // A large scene: the relative bound wins.
    c.fitBox({0, 0, 0}, {100000, 0, 0});
    c.zoomWheel(1000.0);
    EXPECT_DOUBLE_EQ(c.distance, 1e-5 * 50000.0);
}

TEST(Camera, StandardViewsSetOnlyTheAngles) {
    Camera c = cameraOf(640, 480);
    c.fitBox({-5, -5, 0}, {5, 5, 3});
    const Vec3d target = c.target;
    const double distance = c.distance;
    const double expected[6][2] = {{-90, 90}, {-90, -90}, {0, 0}, {180, 0}, {90, 0}, {-90, 0}};
    const Vec3d eyeSide[6] = {{0, 0, 1}, {0, 0, -1}, {1, 0, 0}, {-1, 0, 0}, {0, 1, 0}, {0, -1, 0}};
    for (int which = 0; which < 6; ++which) {
        c.setStandardView(which);
        EXPECT_EQ(c.yaw, expected[which][0]) << which;
        EXPECT_EQ(c.pitch, expected[which][1]) << which;
        EXPECT_EQ(c.distance, distance);
        EXPECT_EQ(c.target, target);
        expectNear(normalized(c.eyePosition() - c.target), eyeSide[which], 1e-12);
    }
    for (int other : {6, 7, -1, 1000}) {
        c.setStandardView(2);
        c.setStandardView(other);
        EXPECT_EQ(c.yaw, -50.0);
        EXPECT_EQ(c.pitch, 30.0);
    }
}

TEST(Camera, FitBoxShowsEveryCornerForAnyShapeOfView) {
    const Vec3d origin{512000.0, 5040000.0, 250.0};  // a survey far from the world origin
    const Vec3d boxes[][2] = {{{-30, -10, -2}, {40, 25, 12}}, {{0, 0, 0}, {500, 1, 1}}, {{-3, -3, -3}, {3, 3, 3}}};
    const int sizes[][2] = {{1600, 400}, {800, 800}, {300, 1200}, {1, 1}};
    const double fovs[] = {5.0, 45.0, 90.0, 120.0};
    const double angles[][2] = {{-50, 30}, {0, 0}, {-90, 90}, {135, -60}};
    for (const auto& box : boxes)
        for (const auto& size : sizes)
            for (double fov : fovs)
                for (const auto& angle : angles) {
                    Camera c = cameraOf(size[0], size[1]);
                    c.renderOrigin = origin;
                    c.setFieldOfView(fov);
                    c.yaw = angle[0];
                    c.pitch = angle[1];
                    const Vec3d min = origin + box[0], max = origin + box[1];
                    ASSERT_TRUE(c.fitBox(min, max));
                    EXPECT_DOUBLE_EQ(c.sceneRadius, length(box[1] - box[0]) / 2.0);
                    const FrustumPlanes planes = frustumPlanes(c.viewProjectionMatrix());
                    auto widestCorner = [&](const Camera& cam) {
                        double widest = 0.0;
                        for (int corner = 0; corner < 8; ++corner) {
                            const Vec3d p{(corner & 1) ? max.x : min.x, (corner & 2) ? max.y : min.y,
                                          (corner & 4) ? max.z : min.z};
                            const ProjectedPoint s = cam.project(p);
                            EXPECT_TRUE(s.inFront);
                            widest = std::max({widest, std::fabs(s.x - size[0] / 2.0) / (size[0] / 2.0),
                                               std::fabs(s.y - size[1] / 2.0) / (size[1] / 2.0)});
                        }
                        return widest;
                    };
                    for (int corner = 0; corner < 8; ++corner) {
                        const Vec3d r = Vec3d{(corner & 1) ? max.x : min.x, (corner & 2) ? max.y : min.y,
                                              (corner & 4) ? max.z : min.z} - origin;
                        for (int i = 0; i < 4; ++i) {  // left, right, bottom, top
                            const Plane& pl = planes[i];
                            EXPECT_GE(pl.a * r.x + pl.b * r.y + pl.c * r.z + pl.d, -1e-6 * c.sceneRadius)
                                << "plane " << i << " fov " << fov << " size " << size[0] << "x" << size[1];
                        }
                    }
                    EXPECT_LT(widestCorner(c), 1.0);
                    // Without the 5 % margin the outermost corner would touch the window's edge.
                    Camera tight = c;
                    tight.distance = c.distance / 1.05;
                    EXPECT_NEAR(widestCorner(tight), 1.0, 1e-9) << "fov " << fov;
                }
}

TEST(Camera, FitBoxIgnoresAnInvertedBox) {
    Camera c;
    const Camera before = c;
    EXPECT_FALSE(c.fitBox({0, 0, 1}, {1, 1, 0}));
    EXPECT_FALSE(c.fitBox({0, 0, 0}, {1, std::nan(""), 1}));
    EXPECT_EQ(c.distance, before.distance);
    EXPECT_EQ(c.target, before.target);
    EXPECT_EQ(c.sceneRadius, before.sceneRadius);
    EXPECT_TRUE(c.fitBox({1, 1, 1}, {1, 1, 1}));  // a single point is a valid box
    EXPECT_EQ(c.sceneRadius, 1e-6);
}

TEST(Camera, ProjectAndUnprojectAgreeWithTheMatrices) {
    Camera c = cameraOf(1024, 600);
    c.renderOrigin = {1000, 2000, 30};
    c.fitBox({990, 1990, 20}, {1010, 2020, 40});
    c.orbit(33.0, 17.0);
    const Mat4d vp = c.viewProjectionMatrix();
    for (double x : {0.0, 100.5, 512.0, 1023.0})
        for (double y : {0.0, 300.0, 599.0})
            for (double depth : {0.5, c.distance, 3.0 * c.distance}) {
                const Vec3d w = c.unproject(x, y, depth);
                const ProjectedPoint p = c.project(w);
                ASSERT_TRUE(p.inFront);
                EXPECT_NEAR(p.x, x, 1e-7);
                EXPECT_NEAR(p.y, y, 1e-7);
                EXPECT_NEAR(p.depth, depth, 1e-9 * depth);
                const Vec4d clip = transformPoint(vp, c.toRenderSpace(w));
                EXPECT_NEAR((clip.x / clip.w + 1.0) / 2.0 * 1024.0, x, 1e-6);
                EXPECT_NEAR((1.0 - clip.y / clip.w) / 2.0 * 600.0, y, 1e-6);
                EXPECT_NEAR(clip.w, depth, 1e-9 * depth);
            }
    // Near and far map to the ends of the depth range.
    const Vec4d nearClip = transformPoint(vp, c.unproject(512, 300, c.nearPlane()) - c.renderOrigin);
    const Vec4d farClip = transformPoint(vp, c.unproject(512, 300, c.farPlane()) - c.renderOrigin);
    EXPECT_NEAR(nearClip.z / nearClip.w, -1.0, 1e-9);
    EXPECT_NEAR(farClip.z / farClip.w, 1.0, 1e-9);
    EXPECT_FALSE(c.project(c.eyePosition() - (c.target - c.eyePosition())).inFront);
}

TEST(Camera, PanMovesTheCloudWithTheCursor) {
    Camera c = cameraOf(800, 600);
    c.fitBox({0, 0, 0}, {50, 50, 10});
    const Vec3d spot = c.unproject(200, 150, c.distance);  // at the target's depth
    const double yaw = c.yaw, pitch = c.pitch, distance = c.distance;
    c.pan(37.0, -12.0);
    const ProjectedPoint p = c.project(spot);
    EXPECT_NEAR(p.x, 237.0, 1e-7);
    EXPECT_NEAR(p.y, 138.0, 1e-7);
    EXPECT_EQ(c.yaw, yaw);
    EXPECT_EQ(c.pitch, pitch);
    EXPECT_EQ(c.distance, distance);
}

TEST(Camera, ZoomToRectangleFillsTheViewWithIt) {
    Camera c = cameraOf(800, 600);
    c.fitBox({0, 0, 0}, {100, 100, 20});
    const double depth = c.distance * 0.8;
    // 200 × 100 pixels: the width limits (200/800 > 100/600).
    const Vec3d left = c.unproject(100, 150, depth), right = c.unproject(300, 150, depth);
    const double yaw = c.yaw, pitch = c.pitch;
    ASSERT_TRUE(c.zoomToRectangle(300, 100, 100, 200, depth));
    expectNear(c.target, (left + right) * 0.5, 1e-9);
    EXPECT_NEAR(c.distance, 0.25 * depth, 1e-12);
    EXPECT_NEAR(c.project(left).x, 0.0, 1e-6);
    EXPECT_NEAR(c.project(right).x, 800.0, 1e-6);
    EXPECT_EQ(c.yaw, yaw);
    EXPECT_EQ(c.pitch, pitch);

    // Too small on one axis: nothing happens.
    const Vec3d target = c.target;
    EXPECT_FALSE(c.zoomToRectangle(10, 10, 13.9, 100, depth));
    EXPECT_FALSE(c.zoomToRectangle(10, 10, 100, 12, depth));
    EXPECT_EQ(c.target, target);
    // A depth that is not positive means the current distance.
    const double d = c.distance;
    const Vec3d centre = c.unproject(420, 310, d);
    ASSERT_TRUE(c.zoomToRectangle(400, 300, 440, 320, 0.0));
    expectNear(c.target, centre, 1e-9);
    EXPECT_NEAR(c.distance, 0.05 * d, 1e-12);
}

TEST(Camera, FieldOfViewChangeKeepsTheSceneSize) {
    Camera c = cameraOf(800, 600);
    c.fitBox({0, 0, 0}, {30, 30, 30});
    const double scale = c.distance / c.pixelsPerMetreAtUnitDistance();
    c.setFieldOfView(90.0);
    EXPECT_NEAR(c.fieldOfViewDegrees(), 90.0, 1e-12);
    EXPECT_NEAR(c.distance / c.pixelsPerMetreAtUnitDistance(), scale, 1e-12 * scale);
    c.setFieldOfView(500.0);
    EXPECT_NEAR(c.fieldOfViewDegrees(), 120.0, 1e-12);
    c.setFieldOfView(-3.0);
    EXPECT_NEAR(c.fieldOfViewDegrees(), 5.0, 1e-12);
    EXPECT_NEAR(c.distance / c.pixelsPerMetreAtUnitDistance(), scale, 1e-12 * scale);
    EXPECT_NEAR(c.pixelsPerMetreAtUnitDistance(), 600.0 / (2.0 * std::tan(2.5 * kPi / 180.0)), 1e-9);
}

TEST(Camera, LookAlongTurnsTheEyeOntoTheVector) {
    Camera c;
    c.yaw = 12.0;
    EXPECT_FALSE(c.lookAlong({0, 0, 0}));
    EXPECT_FALSE(c.lookAlong({1e-13, 0, 0}));
    EXPECT_EQ(c.yaw, 12.0);
    ASSERT_TRUE(c.lookAlong({2, 2, 2 * std::sqrt(2.0)}));
    EXPECT_NEAR(c.yaw, 45.0, 1e-12);
    EXPECT_NEAR(c.pitch, 45.0, 1e-12);
    expectNear(normalized(c.eyePosition() - c.target), normalized(Vec3d{1, 1, std::sqrt(2.0)}), 1e-12);
    ASSERT_TRUE(c.lookAlong({-1, -0.0001, 0}));
    EXPECT_NEAR(c.yaw, -179.99427, 1e-4);
    ASSERT_TRUE(c.lookAlong({0, 0, -3}));  // vertical: yaw stays
    EXPECT_NEAR(c.yaw, -179.99427, 1e-4);
    EXPECT_EQ(c.pitch, -90.0);
}

TEST(Camera, ViewportAndClipPlanes) {
    Camera c;
    c.setViewport(0, -7);
    EXPECT_EQ(c.viewportWidth, 1);
    EXPECT_EQ(c.viewportHeight, 1);
    c.sceneRadius = 1.0;
    c.distance = 2.0;
    EXPECT_EQ(c.nearPlane(), 0.01);
    EXPECT_DOUBLE_EQ(c.farPlane(), 10.0);
    c.distance = 100.0;
    EXPECT_DOUBLE_EQ(c.nearPlane(), 0.1);
    EXPECT_DOUBLE_EQ(c.farPlane(), 103.0);
    c.sceneRadius = 500.0;
    EXPECT_DOUBLE_EQ(c.farPlane(), 1600.0);
}

TEST(Camera, FrustumCullsBoxesOutsideTheView) {
    Camera c = cameraOf(800, 600);
    c.renderOrigin = {100, 100, 0};
    c.fitBox({90, 90, -5}, {110, 110, 5});
    const FrustumPlanes planes = frustumPlanes(c.viewProjectionMatrix());
    for (const Plane& p : planes) EXPECT_NEAR(std::sqrt(p.a * p.a + p.b * p.b + p.c * p.c), 1.0, 1e-12);
    auto outside = [&](Vec3d min, Vec3d max) { return boxOutside(planes, min - c.renderOrigin, max - c.renderOrigin); };
    EXPECT_FALSE(outside({95, 95, -1}, {105, 105, 1}));
    const Vec3d behind = c.eyePosition() + (c.eyePosition() - c.target);
    EXPECT_TRUE(outside(behind - Vec3d{1, 1, 1}, behind + Vec3d{1, 1, 1}));
    const Vec3d beyond = c.target + (c.target - c.eyePosition()) * 1000.0;
    EXPECT_TRUE(outside(beyond - Vec3d{1, 1, 1}, beyond + Vec3d{1, 1, 1}));
    // A huge box around the eye touches the view.
    EXPECT_FALSE(outside({-1e5, -1e5, -1e5}, {1e5, 1e5, 1e5}));
}

}  // namespace
}  // namespace ovcf
