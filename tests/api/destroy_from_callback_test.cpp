// A host may destroy a view from inside the view's own event callback, whichever export or
// window message raised the event; nothing below the callback may then touch the freed view
// (run under the address sanitizer to see it).
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "OrvanePC.h"
#include "ParentWindow.h"
#include "TestSupport.h"
#include "ViewCloud.h"
#include "ViewInput.h"

namespace {

using namespace ovcf::test;

struct Host {
    PcView view = nullptr;
    int events = 0;
};

void destroyOnEvent(int, const PcViewState*, void* user) {
    auto* host = static_cast<Host*>(user);
    ++host->events;
    PC_DestroyView(host->view);
}

struct Fixture {
    ovcf::harness::ParentWindow& parent;
    PcView view;
    std::uintptr_t child;
    const std::string& cloud;
};

struct Path {
    const char* name;
    std::function<void(Fixture&)> prepare;  // before the callback is set
    std::function<void(Fixture&)> trigger;  // raises at least one event
};

void open(Fixture& f) {
    ASSERT_EQ(PC_OpenFile(f.view, f.cloud.c_str()), PC_OK);
    PC_SetStandardView(f.view, 0);
    renderUntilComplete(f.view);
}

void openAndDelete(Fixture& f) {
    open(f);
    PC_SelectAll(f.view);
    PC_DeleteSelected(f.view);
}

const Path kPaths[] = {
    {"PC_OpenFile, cloud opened", [](Fixture&) {}, [](Fixture& f) { PC_OpenFile(f.view, f.cloud.c_str()); }},
    {"PC_SetNavigationTool", [](Fixture&) {}, [](Fixture& f) { PC_SetNavigationTool(f.view, 1); }},
    {"PC_SetSelectionTool", [](Fixture&) {}, [](Fixture& f) { PC_SetSelectionTool(f.view, 3); }},
    {"PC_SetRectTool", [](Fixture&) {}, [](Fixture& f) { PC_SetRectTool(f.view, 2); }},
    {"PC_SetOrbitLocked", [](Fixture& f) { PC_SetNavigationTool(f.view, 2); },
     [](Fixture& f) { PC_SetOrbitLocked(f.view, 1); }},
    {"PC_CancelTools", [](Fixture& f) { PC_SetSelectionTool(f.view, 1); }, [](Fixture& f) { PC_CancelTools(f.view); }},
    {"PC_SelectAll", open, [](Fixture& f) { PC_SelectAll(f.view); }},
    {"PC_InvertSelection", open, [](Fixture& f) { PC_InvertSelection(f.view); }},
    {"PC_ClearSelection", open, [](Fixture& f) { PC_ClearSelection(f.view); }},
    {"PC_DeleteSelected",
     [](Fixture& f) {
         open(f);
         PC_SelectAll(f.view);
     },
     [](Fixture& f) { PC_DeleteSelected(f.view); }},
    {"PC_UndoDeletion", openAndDelete, [](Fixture& f) { PC_UndoDeletion(f.view); }},
    {"PC_RestoreAllDeleted, two events", openAndDelete, [](Fixture& f) { PC_RestoreAllDeleted(f.view); }},
    {"PC_ConfirmChanges", openAndDelete, [](Fixture& f) { PC_ConfirmChanges(f.view); }},
    {"Escape key with more input queued behind it", [](Fixture& f) { PC_SetNavigationTool(f.view, 2); },
     [](Fixture& f) {
         f.parent.sendKey(f.child, 27);
         f.parent.sendMove(f.child, 40, 40);
         f.parent.sendButton(f.child, 1, true, 40, 40);
         f.parent.sendMove(f.child, 80, 60);
         f.parent.sendButton(f.child, 1, false, 80, 60);
         f.parent.sendKey(f.child, 27);
         ovcf::harness::pumpView(f.parent, f.view);
     }},
    {"rectangle selection dragged with the mouse",
     [](Fixture& f) {
         open(f);
         PC_SetSelectionTool(f.view, 1);
     },
     [](Fixture& f) { ovcf::harness::dragInView(f.parent, f.child, f.view, 0, 60, 50, 160, 120); }},
    {"clip box band dragged with the mouse",
     [](Fixture& f) {
         open(f);
         PC_SetRectTool(f.view, 2);
     },
     [](Fixture& f) { ovcf::harness::dragInView(f.parent, f.child, f.view, 0, 60, 50, 160, 120); }},
};

TEST(DestroyFromCallback, EveryPathThatRaisesAnEventSurvivesIt) {
    TempDir dir{"orvane_reentry"};
    const std::string cloud = dir.file("grid.ovcf");
    ASSERT_TRUE(buildGridCloud(cloud, 60));
    for (const Path& path : kPaths) {
        SCOPED_TRACE(path.name);
        auto parent = ovcf::harness::ParentWindow::create(220, 170);
        ASSERT_TRUE(parent) << "no display";
        Host host;
        host.view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        ASSERT_NE(host.view, nullptr);
        Fixture fixture{*parent, host.view, parent->firstChild(), cloud};
        path.prepare(fixture);
        PC_SetEventCallback(host.view, &destroyOnEvent, &host);
        path.trigger(fixture);
        EXPECT_EQ(host.events, 1);
        EXPECT_EQ(PC_GetState(host.view, nullptr), 1);  // the handle is dead
        ovcf::harness::pumpView(*parent, host.view);
        EXPECT_EQ(parent->childCount(), 0);
    }
}

}  // namespace
