#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "LibraryError.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"

namespace navigation_input {
namespace {

using ovcf::test::TempDir;
using ovcf::harness::ParentWindow;

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kCubeSize = 98;  // the "cube.size" default, in the top-right corner

using ovcf::test::lastLibraryError;

std::vector<char> readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// A coloured, gently curved patch: any change of the camera changes the picture.
bool buildPatch(const std::string& path) {
    std::vector<double> xyz;
    std::vector<uint32_t> rgb;
    for (int i = 0; i < 120; ++i)
        for (int j = 0; j < 120; ++j) {
            xyz.insert(xyz.end(), {500000.0 + i * 0.5, 4000000.0 + j * 0.5, 100.0 + 2.0 * std::sin(i * 0.1) * std::cos(j * 0.07)});
            rgb.push_back(static_cast<uint32_t>((i * 2) << 16 | (j * 2) << 8 | 128));
        }
    return PC_BuildCacheFromMemory(path.c_str(), xyz.data(), rgb.data(), static_cast<int64_t>(rgb.size()), 0.001,
                                   nullptr, nullptr) == PC_OK;
}

class NavigationInput : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(buildPatch(dir.file("patch.ovcf"))) << lastLibraryError();
        parent = ovcf::harness::ParentWindow::create(kWidth, kHeight);
        ASSERT_TRUE(parent) << "no display";
        view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        ASSERT_NE(view, nullptr) << lastLibraryError();
        ASSERT_EQ(PC_OpenFile(view, dir.file("patch.ovcf").c_str()), PC_OK) << lastLibraryError();
        PC_SetValue(view, 8, 0.0);  // no eye-dome lighting: plain colours compare more strictly
        child = parent->firstChild();
    }
    void TearDown() override {
        if (view) PC_DestroyView(view);
    }

    void pump() {
        parent->flush();
#if !defined(_WIN32)
        PC_X11ProcessEvents(view);
#endif
    }

    // The picture once every chosen node is on screen, with the pointer gone from the view.
    std::vector<char> picture(const std::string& name) {
        parent->sendLeave(child);
        pump();
        for (int frame = 0; frame < 200 && PC_Render(view) == 1; ++frame) {
        }
        const std::string path = dir.file(name + ".png");
        EXPECT_EQ(PC_SaveScreenshot(view, path.c_str()), PC_OK) << lastLibraryError();
        return readFile(path);
    }

    void drag(int button, int fromX, int fromY, int toX, int toY) {
        parent->sendMove(child, fromX, fromY);
        parent->sendButton(child, button, true, fromX, fromY);
        parent->sendMove(child, (fromX + toX) / 2, (fromY + toY) / 2);
        parent->sendMove(child, toX, toY);
        parent->sendButton(child, button, false, toX, toY);
        pump();
    }

    TempDir dir{"orvane_navigation"};
    std::unique_ptr<ovcf::harness::ParentWindow> parent;
    PcView view = nullptr;
    std::uintptr_t child = 0;
};

TEST_F(NavigationInput, RightDragPansAndARightClickDoesNot) {
    const std::vector<char> start = picture("start");
    ASSERT_FALSE(start.empty());
    parent->sendMove(child, 100, 150);
    parent->sendButton(child, 1, true, 100, 150);
    parent->sendButton(child, 1, false, 100, 150);
    pump();
    EXPECT_EQ(picture("click"), start);
    drag(1, 100, 150, 160, 120);
    EXPECT_NE(picture("panned"), start);
}

TEST_F(NavigationInput, WheelZoomsAndMiddleDragOrbitsUnlessLocked) {
    const std::vector<char> start = picture("start");
    parent->sendWheel(child, 120, 160, 120);
    pump();
    const std::vector<char> zoomed = picture("zoomed");
    EXPECT_NE(zoomed, start);

    PC_SetOrbitLocked(view, 1);
    drag(2, 160, 120, 200, 140);
    EXPECT_EQ(picture("locked"), zoomed);
    PC_SetOrbitLocked(view, 0);
    drag(2, 160, 120, 200, 140);
    EXPECT_NE(picture("orbited"), zoomed);
}

TEST_F(NavigationInput, ClickingTheCubesFaceTurnsToItsStandardView) {
    PC_SetStandardView(view, 0);  // from above: the cube shows its top face in the middle
    const std::vector<char> top = picture("top");
    drag(2, 160, 120, 175, 130);  // orbit away a little
    const std::vector<char> turned = picture("turned");
    EXPECT_NE(turned, top);

    const int cubeX = kWidth - kCubeSize / 2;
    const int cubeY = kCubeSize / 2;
    parent->sendMove(child, cubeX, cubeY);
    parent->sendButton(child, 0, true, cubeX, cubeY);
    parent->sendButton(child, 0, false, cubeX, cubeY);
    pump();
    EXPECT_EQ(picture("back on top"), top);
}

TEST_F(NavigationInput, ZoomAllAndStandardViewsKeepTheirPictures) {
    const std::vector<char> start = picture("start");
    parent->sendWheel(child, 360, 40, 40);
    pump();
    EXPECT_NE(picture("zoomed"), start);
    PC_ZoomAll(view);
    EXPECT_EQ(picture("all"), start);
}

}  // namespace
}  // namespace navigation_input
