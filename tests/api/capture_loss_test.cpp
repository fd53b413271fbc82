// A drag whose button-up never arrives, because another window took the pointer capture or the
// focus, or a menu cancelled the mode: the drag must end there, so that moving the pointer
// afterwards with no button held changes nothing.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"
#include "ViewCloud.h"
#include "ViewInput.h"

namespace {

using namespace ovcf::test;

constexpr int kLeft = 0, kRight = 1, kMiddle = 2;

struct Gesture {
    const char* name;
    int button;
    int navigationTool;   // PC_SetNavigationTool
    int selectionTool;    // PC_SetSelectionTool
    int rectTool;         // PC_SetRectTool
    bool clipBoxHandle;   // press on a handle of a clip box made first
};

const Gesture kGestures[] = {
    {"pan with the right button", kRight, 0, 0, 0, false},
    {"orbit with the middle button", kMiddle, 0, 0, 0, false},
    {"orbit tool on the left button", kLeft, 2, 0, 0, false},
    {"pan tool on the left button", kLeft, 1, 0, 0, false},
    {"rectangle selection", kLeft, 0, 1, 0, false},
    {"circle selection", kLeft, 0, 2, 0, false},
    {"zoom window band", kLeft, 0, 0, 1, false},
    {"clip box band", kLeft, 0, 0, 2, false},
    {"clip box handle", kLeft, 0, 0, 0, true},
};

class CaptureLoss : public ::testing::Test {
protected:
    void SetUp() override {
        cloud = dir.file("grid.ovcf");
        ASSERT_TRUE(buildGridCloud(cloud));
    }

    // What the view shows now, as the bytes of a screenshot.
    std::vector<std::uint8_t> picture(PcView view) {
        renderUntilComplete(view);
        const std::string path = dir.file("shot" + std::to_string(shots++) + ".png");
        EXPECT_EQ(PC_SaveScreenshot(view, path.c_str()), PC_OK);
        return fileBytes(path);
    }

    TempDir dir{"orvane_capture"};
    std::string cloud;
    int shots = 0;
};

TEST_F(CaptureLoss, EveryDragEndsWhenTheCaptureOrFocusGoesElsewhere) {
    for (const bool byCancelMode : {false, true})
        for (const Gesture& gesture : kGestures) {
            SCOPED_TRACE(std::string(gesture.name) + (byCancelMode ? ", cancel mode" : ", capture taken away"));
            auto parent = ovcf::harness::ParentWindow::create(240, 180);
            ASSERT_TRUE(parent) << "no display";
            PcView view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
            ASSERT_NE(view, nullptr);
            const std::uintptr_t child = parent->firstChild();
            ASSERT_EQ(PC_OpenFile(view, cloud.c_str()), PC_OK);
            PC_SetStandardView(view, 0);
            renderUntilComplete(view);  // the clip box reads the depth of the last frame
            int pressX = 120, pressY = 90;
            if (gesture.clipBoxHandle) {
                PC_SetRectTool(view, 2);
                ovcf::harness::dragInView(*parent, child, view, kLeft, 70, 60, 170, 120);
                ASSERT_EQ(PC_IsClipBoxActive(view), 1);
                pressX = 170;  // the handle of the box's side under the band's right edge
            }
            PC_SetNavigationTool(view, gesture.navigationTool);
            PC_SetSelectionTool(view, gesture.selectionTool);
            PC_SetRectTool(view, gesture.rectTool);
            const std::vector<std::uint8_t> before = picture(view);

            parent->sendMove(child, pressX, pressY);
            parent->sendButton(child, gesture.button, true, pressX, pressY);
            ovcf::harness::pumpView(*parent, view);
            if (byCancelMode) parent->cancelMode(child);
            else parent->takeCaptureAway(child);
            ovcf::harness::pumpView(*parent, view);
            // No button is held any more: these moves must not drag anything.
            parent->sendMove(child, pressX - 50, pressY + 40);
            parent->sendMove(child, pressX - 60, pressY + 50);
            ovcf::harness::pumpView(*parent, view);
            EXPECT_TRUE(picture(view) == before) << "the picture changed";
            PC_DestroyView(view);
        }
}

}  // namespace
