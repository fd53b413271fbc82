// The host may destroy its window, and the view's child with it, before destroying the view:
// every export must then fail softly or do its work without a window, never end the process.
// And the view works only in its own GL context: another view's pictures and the host's own
// current context are left as they were.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "LibraryError.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"
#include "ViewCloud.h"

namespace host_window_loss {
namespace {

using namespace ovcf::test;

using ovcf::test::lastLibraryError;

PcView viewIn(ovcf::harness::ParentWindow& parent) { return PC_CreateView(reinterpret_cast<PcParentWindow>(parent.handle())); }

class HostWindowLoss : public ::testing::Test {
protected:
    void SetUp() override {
        cloud = dir.file("grid.ovcf");
        ASSERT_TRUE(buildGridCloud(cloud)) << lastLibraryError();
    }
    TempDir dir{"orvane_window_loss"};
    std::string cloud;
};

TEST_F(HostWindowLoss, EveryExportSurvivesTheParentsDestruction) {
    auto parent = ovcf::harness::ParentWindow::create(200, 150);
    ASSERT_TRUE(parent) << "no display";
    PcView view = viewIn(*parent);
    ASSERT_NE(view, nullptr) << lastLibraryError();
    ASSERT_EQ(PC_OpenFile(view, cloud.c_str()), PC_OK) << lastLibraryError();
    renderUntilComplete(view);

    parent->destroyWindow();
    EXPECT_EQ(PC_Render(view), 0);
    EXPECT_EQ(PC_SaveScreenshot(view, dir.file("gone.png").c_str()), 5);
    EXPECT_EQ(lastLibraryError(), "cannot activate the OpenGL context");
    PC_Resize(view);
#if !defined(_WIN32)
    EXPECT_EQ(PC_X11ProcessEvents(view), 0);
#endif
    EXPECT_EQ(PC_PointCount(view), 120u * 120u);
    PC_CloseCloud(view);
    EXPECT_EQ(PC_PointCount(view), 0u);
    EXPECT_EQ(PC_OpenFile(view, cloud.c_str()), 5);
    PC_DestroyView(view);
}

// Two views on one thread, each with its cloud: closing and destroying one, with its window
// alive or already gone, leaves the other's picture exactly as it was.
TEST_F(HostWindowLoss, ClosingOneViewNeverChangesWhatAnotherDraws) {
    for (const bool firstParentGone : {false, true}) {
        SCOPED_TRACE(firstParentGone ? "first parent destroyed" : "first parent alive");
        auto firstParent = ovcf::harness::ParentWindow::create(220, 160);
        auto secondParent = ovcf::harness::ParentWindow::create(220, 160);
        ASSERT_TRUE(firstParent && secondParent) << "no display";
        PcView first = viewIn(*firstParent);
        PcView second = viewIn(*secondParent);
        ASSERT_TRUE(first && second) << lastLibraryError();
        ASSERT_EQ(PC_OpenFile(first, cloud.c_str()), PC_OK) << lastLibraryError();
        ASSERT_EQ(PC_OpenFile(second, cloud.c_str()), PC_OK) << lastLibraryError();
        renderUntilComplete(first);
        renderUntilComplete(second);
        renderUntilComplete(first);  // the first view drew last
        const std::string before = dir.file("before.png");
        ASSERT_EQ(PC_SaveScreenshot(second, before.c_str()), PC_OK) << lastLibraryError();

        if (firstParentGone) firstParent->destroyWindow();
        PC_CloseCloud(first);
        PC_DestroyView(first);
        renderUntilComplete(second);
        EXPECT_EQ(PC_Render(second), 0);
        const std::string after = dir.file("after.png");
        ASSERT_EQ(PC_SaveScreenshot(second, after.c_str()), PC_OK) << lastLibraryError();
        EXPECT_TRUE(fileBytes(before) == fileBytes(after)) << "the other view's picture changed";
        PC_DestroyView(second);
    }
}

// A host drawing with GL of its own finds its context current after every call into a view.
TEST_F(HostWindowLoss, TheHostsCurrentContextIsCurrentAgainAfterEveryCall) {
    auto parent = ovcf::harness::ParentWindow::create(200, 150);
    ASSERT_TRUE(parent) << "no display";
    ASSERT_TRUE(parent->makeHostGlCurrent());
    PcView view = viewIn(*parent);
    ASSERT_NE(view, nullptr) << lastLibraryError();
    EXPECT_TRUE(parent->hostGlIsCurrent()) << "PC_CreateView";
    const std::string shot = dir.file("shot.png");
    const std::vector<std::pair<const char*, std::function<void()>>> calls = {
        {"PC_OpenFile", [&] { EXPECT_EQ(PC_OpenFile(view, cloud.c_str()), PC_OK); }},
        {"PC_Render", [&] { renderUntilComplete(view); }},
        {"PC_SaveScreenshot", [&] { EXPECT_EQ(PC_SaveScreenshot(view, shot.c_str()), PC_OK); }},
        {"PC_Resize", [&] {
             parent->resizeClient(150, 120);
             PC_Resize(view);
         }},
        {"PC_CloseCloud", [&] { PC_CloseCloud(view); }},
        {"PC_OpenFile again", [&] { EXPECT_EQ(PC_OpenFile(view, cloud.c_str()), PC_OK); }},
        {"PC_DestroyView", [&] { PC_DestroyView(view); }},
    };
    for (const auto& [name, call] : calls) {
        ASSERT_TRUE(parent->makeHostGlCurrent());
        call();
        EXPECT_TRUE(parent->hostGlIsCurrent()) << name;
    }
}

}  // namespace
}  // namespace host_window_loss
