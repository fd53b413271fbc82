#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "LibraryError.h"
#include "OrvanePC.h"
#include "ParentWindow.h"
#include "ViewInput.h"

namespace view_lifecycle {
namespace {

using ovcf::harness::pumpView;
using ovcf::harness::ParentWindow;

using ovcf::test::lastLibraryError;

PcParentWindow asParent(std::uintptr_t handle) { return reinterpret_cast<PcParentWindow>(handle); }

std::vector<std::string>* gLogLines = nullptr;
void collectLog(int, const char* message, void*) {
    if (gLogLines) gLogLines->push_back(message);
}

struct EventRecord {
    int event;
    PcViewState state;
};

void collectEvent(int event, const PcViewState* state, void* user) {
    static_cast<std::vector<EventRecord>*>(user)->push_back({event, *state});
}

class ViewLifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        parent = ovcf::harness::ParentWindow::create(320, 200);
        ASSERT_TRUE(parent) << "no display";
    }
    std::unique_ptr<ovcf::harness::ParentWindow> parent;
};

TEST_F(ViewLifecycle, TheViewFillsTheParentAndFollowsItsSize) {
    std::vector<std::string> lines;
    gLogLines = &lines;
    PC_SetLogCallback(&collectLog, nullptr);
    PcView view = PC_CreateView(asParent(parent->handle()));
    PC_SetLogCallback(nullptr, nullptr);
    gLogLines = nullptr;
    ASSERT_NE(view, nullptr) << lastLibraryError();
    EXPECT_EQ(parent->childCount(), 1);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), "vista creata: 320 x 200 pixel");
    EXPECT_EQ(PC_Render(view), 0);  // nothing is loading: the picture is complete

    // The size at creation, after PC_Resize, and after a render call, which resizes first.
    for (const auto& [width, height, byRender] : {std::tuple{320, 200, false}, {500, 260, false}, {180, 90, true}}) {
        parent->resizeClient(width, height);
        if (byRender) EXPECT_EQ(PC_Render(view), 0);
        else PC_Resize(view);
        int childWidth = 0, childHeight = 0;
        ASSERT_TRUE(parent->windowSize(parent->firstChild(), childWidth, childHeight));
        EXPECT_EQ(childWidth, width);
        EXPECT_EQ(childHeight, height);
    }
    PC_DestroyView(view);
}

TEST_F(ViewLifecycle, StateStartsNeutralAndToolNumbersOutOfRangeAreIgnored) {
    PcView view = PC_CreateView(asParent(parent->handle()));
    ASSERT_NE(view, nullptr) << lastLibraryError();
    EXPECT_EQ(PC_GetState(view, nullptr), 2);
    EXPECT_EQ(lastLibraryError(), "state is null");

    PC_SetRectTool(view, 1);
    PC_SetSelectionTool(view, 2);  // arming a selection tool disarms the rectangle tool
    PC_SetCombineMode(view, 2);
    PC_SetSelectionTool(view, 4);
    PC_SetRectTool(view, 3);
    PC_SetCombineMode(view, 3);
    PC_SetSelectionTool(view, -1);
    PcViewState state;
    std::memset(&state, 0xCD, sizeof state);
    ASSERT_EQ(PC_GetState(view, &state), 0);
    EXPECT_EQ(state.pointCount, 0u);
    EXPECT_EQ(state.selectedCount, 0u);
    EXPECT_EQ(state.deletedCount, 0u);
    EXPECT_EQ(state.selectionTool, 2u);
    EXPECT_EQ(state.rectTool, 0u);
    EXPECT_EQ(state.combineMode, 2u);
    EXPECT_EQ(PC_GetCombineMode(view), 2);
    EXPECT_EQ(state.reserved, 0);
    EXPECT_EQ(state.padding, 0u);
    EXPECT_EQ(state.lastSelectionSeconds, 0.0);
    PC_DestroyView(view);
}

TEST_F(ViewLifecycle, EscapeDisarmsTheNavigationToolAndTellsTheHost) {
    PcView view = PC_CreateView(asParent(parent->handle()));
    ASSERT_NE(view, nullptr) << lastLibraryError();
    std::vector<EventRecord> events;
    PC_SetEventCallback(view, &collectEvent, &events);
    PC_SetNavigationTool(view, 2);
    PC_SetNavigationTool(view, 3);  // ignored
    EXPECT_EQ(PC_NavigationTool(view), 2);
    ASSERT_EQ(events.size(), 1u);  // arming is news for the host too
    events.clear();
    parent->sendKey(parent->firstChild(), 27);
    ovcf::harness::pumpView(*parent, view);
    EXPECT_EQ(PC_NavigationTool(view), 0);
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].event, PC_EVENT_TOOL_STATE_CHANGED);
    parent->sendKey(parent->firstChild(), 27);  // nothing armed: no event
    ovcf::harness::pumpView(*parent, view);
    EXPECT_EQ(events.size(), 1u);
    PC_DestroyView(view);
}

TEST_F(ViewLifecycle, DestroyLeavesNoWindowAndTheStaleHandleFails) {
    PcView view = PC_CreateView(asParent(parent->handle()));
    ASSERT_NE(view, nullptr) << lastLibraryError();
    const std::uintptr_t child = parent->firstChild();
    ASSERT_NE(child, 0u);
    PC_DestroyView(view);
    EXPECT_EQ(parent->childCount(), 0);
    EXPECT_FALSE(parent->windowExists(child));
    // The memory was freed after its tag was cleared: the handle no longer passes the check.
    EXPECT_EQ(PC_Render(view), 0);
    EXPECT_EQ(lastLibraryError(), "invalid view handle");
    PcViewState state;
    EXPECT_EQ(PC_GetState(view, &state), 1);
}

TEST_F(ViewLifecycle, AnInvalidParentGivesItsMessageAndNoView) {
    const int before = parent->childCount();
    EXPECT_EQ(PC_CreateView(asParent(ovcf::harness::invalidWindowHandle())), nullptr);
    EXPECT_EQ(lastLibraryError(), "the parent window handle is not valid");
    EXPECT_EQ(PC_CreateView(asParent(0)), nullptr);
    EXPECT_EQ(lastLibraryError(), "the parent window handle is not valid");
    EXPECT_EQ(parent->childCount(), before);
}

}  // namespace
}  // namespace view_lifecycle
