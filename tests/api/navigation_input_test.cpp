// The camera driven through real mouse messages over a coloured, gently curved patch: any change
// of the camera changes the picture.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "ViewInputTest.h"

namespace navigation_input {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kCubeSize = 98;  // the "cube.size" default, in the top-right corner

class NavigationInput : public ovcf::test::ViewInputTest {
protected:
    NavigationInput() : ViewInputTest("orvane_navigation") {}

    void SetUp() override {
        std::vector<double> xyz;
        std::vector<uint32_t> rgb;
        for (int i = 0; i < 120; ++i)
            for (int j = 0; j < 120; ++j) {
                xyz.insert(xyz.end(), {500000.0 + i * 0.5, 4000000.0 + j * 0.5, 100.0 + 2.0 * std::sin(i * 0.1) * std::cos(j * 0.07)});
                rgb.push_back(static_cast<uint32_t>((i * 2) << 16 | (j * 2) << 8 | 128));
            }
        ASSERT_NO_FATAL_FAILURE(buildAndOpen(dir.file("patch.ovcf"), xyz, rgb, kWidth, kHeight));
        PC_SetValue(view, 8, 0.0);  // no eye-dome lighting: plain colours compare more strictly
    }

    // The picture once every chosen node is on screen, with the pointer gone from the view.
    std::vector<std::uint8_t> picture() {
        parent->sendLeave(child);
        pump();
        return screenshot().raw;
    }
    void drag(int button, int fromX, int fromY, int toX, int toY) {
        ovcf::harness::dragInView(*parent, child, view, button, fromX, fromY, toX, toY);
    }
};

TEST_F(NavigationInput, EveryGestureMovesTheCameraAndZoomAllAndTheCubeTurnItBack) {
    const std::vector<std::uint8_t> start = picture();
    ASSERT_FALSE(start.empty());
    click(1, 100, 150);
    EXPECT_EQ(picture(), start) << "a right click does not pan";
    parent->sendWheel(child, 360, 40, 40);
    pump();
    EXPECT_NE(picture(), start) << "the wheel zooms";
    PC_ZoomAll(view);
    EXPECT_EQ(picture(), start);
    drag(1, 100, 150, 160, 120);
    const std::vector<std::uint8_t> panned = picture();
    EXPECT_NE(panned, start) << "a right drag pans";

    PC_SetOrbitLocked(view, 1);
    drag(2, 160, 120, 200, 140);
    EXPECT_EQ(picture(), panned);
    PC_SetOrbitLocked(view, 0);
    drag(2, 160, 120, 200, 140);
    EXPECT_NE(picture(), panned) << "a middle drag orbits";

    PC_SetStandardView(view, 0);  // from above: the cube shows its top face in the middle
    const std::vector<std::uint8_t> top = picture();
    drag(2, 160, 120, 175, 130);
    EXPECT_NE(picture(), top);
    click(0, kWidth - kCubeSize / 2, kCubeSize / 2);
    EXPECT_EQ(picture(), top);
}

}  // namespace
}  // namespace navigation_input
