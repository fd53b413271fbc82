#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "navigation/NavigationCube.h"

namespace ovcf {
namespace {

struct Cube : ::testing::Test {
    RenderSettings settings;
    NavigationCube cube{settings};
    Camera camera;
    Cube() {
        camera.setViewport(900, 600);
        cube.setViewport(900, 600);
    }
    ScreenPoint centre() const {
        const CubeArea a = cube.area();
        return {a.x + a.side / 2, a.y + a.side / 2};
    }
};

TEST_F(Cube, SitsInTheTopRightCornerAtTheConfiguredSize) {
    CubeArea a = cube.area();
    EXPECT_EQ(a.side, 98.0);
    EXPECT_EQ(a.x, 802.0);
    EXPECT_EQ(a.y, 0.0);
    settings.cubeSize = 300;
    EXPECT_EQ(cube.area().side, 200.0);  // a third of the height
    cube.setViewport(90, 60);
    EXPECT_EQ(cube.area().side, 40.0);   // never below 40 pixels
    EXPECT_EQ(cube.area().x, 50.0);
    cube.setViewport(3000, 3000);
    EXPECT_EQ(cube.area().side, 300.0);
}

TEST_F(Cube, EachStandardViewShowsItsFaceInTheMiddle) {
    const ScreenPoint c = centre();
    for (int view = 0; view < 6; ++view) {
        camera.setStandardView(view);
        EXPECT_EQ(cube.hitFace(c.x, c.y, camera), view) << view;
        EXPECT_EQ(standardViewOfFace(view), view);
        // Seen squarely, only that face is drawn, and its label reads upright.
        const auto faces = cube.visibleFaces(camera);
        ASSERT_EQ(faces.size(), 1u) << view;
        EXPECT_EQ(faces[0].face, view);
        EXPECT_GT(faces[0].textRight.x, 0.0) << view;
        EXPECT_NEAR(faces[0].textRight.y, 0.0, 1e-9) << view;
        EXPECT_LT(faces[0].textUp.y, 0.0) << view;
        EXPECT_NEAR(faces[0].textUp.x, 0.0, 1e-9) << view;
    }
    EXPECT_EQ(standardViewOfFace(CubeFaceNone), -1);
}

TEST_F(Cube, PickingAgreesWithWhatIsDrawn) {
    for (const auto& angles : {std::pair{-50.0, 30.0}, std::pair{120.0, -20.0}, std::pair{10.0, 75.0}}) {
        camera.yaw = angles.first;
        camera.pitch = angles.second;
        const auto faces = cube.visibleFaces(camera);
        ASSERT_EQ(faces.size(), 3u);
        std::set<int> seen;
        for (const CubeFaceQuad& q : faces) {
            seen.insert(q.face);
            EXPECT_EQ(cube.hitFace(q.centre.x, q.centre.y, camera), q.face) << cubeFaceLabel(q.face);
            // Every corner stays inside the cube's square.
            const CubeArea a = cube.area();
            for (const ScreenPoint& p : q.corners) {
                EXPECT_GE(p.x, a.x);
                EXPECT_LE(p.x, a.x + a.side);
                EXPECT_GE(p.y, a.y);
                EXPECT_LE(p.y, a.y + a.side);
            }
        }
        EXPECT_EQ(seen.size(), 3u);
    }
    // The default three-quarter view looks at the top, the +X and the -Y faces.
    camera.setDefaultDirection();
    std::set<int> seen;
    for (const CubeFaceQuad& q : cube.visibleFaces(camera)) seen.insert(q.face);
    EXPECT_EQ(seen, (std::set<int>{CubeFaceTop, CubeFaceEast, CubeFaceSouth}));
}

TEST_F(Cube, MissesOutsideTheCubeAndWhileHidden) {
    const CubeArea a = cube.area();
    camera.setStandardView(0);
    EXPECT_EQ(cube.hitFace(a.x + 1, a.y + 1, camera), CubeFaceNone);  // corner of the square
    EXPECT_EQ(cube.hitFace(100, 300, camera), CubeFaceNone);
    const ScreenPoint c = centre();
    settings.cubeVisible = false;
    EXPECT_EQ(cube.hitFace(c.x, c.y, camera), CubeFaceNone);
    EXPECT_TRUE(cube.visibleFaces(camera).empty());
    EXPECT_FALSE(cube.updateHover(c.x, c.y, camera));
}

TEST_F(Cube, HoverHighlightsTheFaceUnderTheCursor) {
    camera.setStandardView(2);
    const ScreenPoint c = centre();
    EXPECT_TRUE(cube.updateHover(c.x, c.y, camera));
    EXPECT_EQ(cube.hoveredFace(), CubeFaceEast);
    const auto faces = cube.visibleFaces(camera);
    ASSERT_EQ(faces.size(), 1u);
    EXPECT_TRUE(faces[0].highlighted);
    EXPECT_STREQ(faces[0].label, "Est");
    cube.clearHover();
    EXPECT_FALSE(cube.visibleFaces(camera)[0].highlighted);
    EXPECT_FALSE(cube.updateHover(10, 10, camera));
}

TEST_F(Cube, AClickOnAFaceTurnsToItsStandardView) {
    camera.setDefaultDirection();
    const auto faces = cube.visibleFaces(camera);
    const auto south = std::find_if(faces.begin(), faces.end(), [](const CubeFaceQuad& q) { return q.face == CubeFaceSouth; });
    ASSERT_NE(south, faces.end());
    const ScreenPoint p = south->centre;
    ASSERT_TRUE(cube.pressLeft(p.x, p.y, camera));
    cube.moveTo(p.x + 3, p.y - 4);
    EXPECT_EQ(cube.releaseLeft(p.x + 4, p.y + 4), 5);

    // Dragged more than 4 pixels: an orbit, not a click.
    ASSERT_TRUE(cube.pressLeft(p.x, p.y, camera));
    cube.moveTo(p.x + 4.5, p.y);
    EXPECT_EQ(cube.releaseLeft(p.x, p.y), -1);

    EXPECT_FALSE(cube.pressLeft(5, 5, camera));
    EXPECT_EQ(cube.releaseLeft(5, 5), -1);
}

}  // namespace
}  // namespace ovcf
