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

TEST_F(NavigationInput, RightDragPansAndARightClickDoesNot) {
    const std::vector<std::uint8_t> start = picture();
    ASSERT_FALSE(start.empty());
    click(1, 100, 150);
    EXPECT_EQ(picture(), start);
    drag(1, 100, 150, 160, 120);
    EXPECT_NE(picture(), start);
}

TEST_F(NavigationInput, WheelZoomsAndMiddleDragOrbitsUnlessLocked) {
    const std::vector<std::uint8_t> start = picture();
    parent->sendWheel(child, 120, 160, 120);
    pump();
    const std::vector<std::uint8_t> zoomed = picture();
    EXPECT_NE(zoomed, start);

    PC_SetOrbitLocked(view, 1);
    drag(2, 160, 120, 200, 140);
    EXPECT_EQ(picture(), zoomed);
    PC_SetOrbitLocked(view, 0);
    drag(2, 160, 120, 200, 140);
    EXPECT_NE(picture(), zoomed);
}

TEST_F(NavigationInput, ClickingTheCubesFaceTurnsToItsStandardView) {
    PC_SetStandardView(view, 0);  // from above: the cube shows its top face in the middle
    const std::vector<std::uint8_t> top = picture();
    drag(2, 160, 120, 175, 130);  // orbit away a little
    const std::vector<std::uint8_t> turned = picture();
    EXPECT_NE(turned, top);

    const int cubeX = kWidth - kCubeSize / 2;
    const int cubeY = kCubeSize / 2;
    click(0, cubeX, cubeY);
    EXPECT_EQ(picture(), top);
}

TEST_F(NavigationInput, ZoomAllAndStandardViewsKeepTheirPictures) {
    const std::vector<std::uint8_t> start = picture();
    parent->sendWheel(child, 360, 40, 40);
    pump();
    EXPECT_NE(picture(), start);
    PC_ZoomAll(view);
    EXPECT_EQ(picture(), start);
}

}  // namespace
}  // namespace navigation_input
