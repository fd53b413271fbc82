#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "LibraryError.h"
#include "OrvanePC.h"

namespace handle_check {
namespace {

using ovcf::test::lastLibraryError;

// Every export that takes a view, called with `view`, and whether its result is the documented
// invalid-handle result.
struct ViewCall {
    const char* name;
    std::function<bool(PcView)> callAndCheck;
};

std::vector<ViewCall> viewCalls() {
    double numbers[8] = {};
    uint32_t colour = 0;
    uint8_t flag = 0;
    PcViewState state{};
    return {
        {"PC_DestroyView", [](PcView v) { PC_DestroyView(v); return true; }},
        {"PC_Resize", [](PcView v) { PC_Resize(v); return true; }},
        {"PC_Render", [](PcView v) { return PC_Render(v) == 0; }},
        {"PC_SetEventCallback", [](PcView v) { PC_SetEventCallback(v, nullptr, nullptr); return true; }},
        {"PC_GetState", [state](PcView v) mutable { return PC_GetState(v, &state) == 1; }},
        {"PC_OpenFile", [](PcView v) { return PC_OpenFile(v, "x.ovcf") == 1; }},
        {"PC_CloseCloud", [](PcView v) { PC_CloseCloud(v); return true; }},
        {"PC_PointCount", [](PcView v) { return PC_PointCount(v) == 0; }},
        {"PC_HasUnsavedChanges", [](PcView v) { return PC_HasUnsavedChanges(v) == 0; }},
        {"PC_ConfirmChanges", [](PcView v) { return PC_ConfirmChanges(v) == 1; }},
        {"PC_GetValue", [](PcView v) { return PC_GetValue(v, 0) == 0.0; }},
        {"PC_SetValue", [](PcView v) { return PC_SetValue(v, 0, 1.0) == 1; }},
        {"PC_GetColor", [](PcView v) { return PC_GetColor(v, 0) == 0; }},
        {"PC_SetColor", [](PcView v) { return PC_SetColor(v, 0, 0x123456) == 1; }},
        {"PC_SetOverlayText", [](PcView v) { PC_SetOverlayText(v, "x", 0); return true; }},
        {"PC_SaveScreenshot", [](PcView v) { return PC_SaveScreenshot(v, "x.png") == 1; }},
        {"PC_ZoomAll", [](PcView v) { PC_ZoomAll(v); return true; }},
        {"PC_SetStandardView", [](PcView v) { PC_SetStandardView(v, 1); return true; }},
        {"PC_SetNavigationTool", [](PcView v) { PC_SetNavigationTool(v, 1); return true; }},
        {"PC_NavigationTool", [](PcView v) { return PC_NavigationTool(v) == 0; }},
        {"PC_SetOrbitLocked", [](PcView v) { PC_SetOrbitLocked(v, 1); return true; }},
        {"PC_OrbitLocked", [](PcView v) { return PC_OrbitLocked(v) == 0; }},
        {"PC_SetSelectionTool", [](PcView v) { PC_SetSelectionTool(v, 1); return true; }},
        {"PC_GetSelectionTool", [](PcView v) { return PC_GetSelectionTool(v) == 0; }},
        {"PC_SetRectTool", [](PcView v) { PC_SetRectTool(v, 1); return true; }},
        {"PC_CancelTools", [](PcView v) { PC_CancelTools(v); return true; }},
        {"PC_ConfirmPolygon", [](PcView v) { return PC_ConfirmPolygon(v) == 1; }},
        {"PC_RemoveLastVertex", [](PcView v) { return PC_RemoveLastVertex(v) == 1; }},
        {"PC_HasClipBox", [](PcView v) { return PC_HasClipBox(v) == 0; }},
        {"PC_IsClipBoxActive", [](PcView v) { return PC_IsClipBoxActive(v) == 0; }},
        {"PC_SetClipBoxActive", [](PcView v) { PC_SetClipBoxActive(v, 1); return true; }},
        {"PC_ClearClipBox", [](PcView v) { PC_ClearClipBox(v); return true; }},
        {"PC_ScaleClipBoxThickness", [](PcView v) { PC_ScaleClipBoxThickness(v, 2.0); return true; }},
        {"PC_StartPlaneByThreePoints", [](PcView v) { PC_StartPlaneByThreePoints(v); return true; }},
        {"PC_CancelPlanePick", [](PcView v) { PC_CancelPlanePick(v); return true; }},
        {"PC_RemoveLastPlanePoint", [](PcView v) { return PC_RemoveLastPlanePoint(v) == 1; }},
        {"PC_PlanePickState", [](PcView v) { return static_cast<uint32_t>(PC_PlanePickState(v)) == 0xFFFFFFFFu; }},
        {"PC_GetLastPlane", [numbers](PcView v) mutable { return PC_GetLastPlane(v, numbers) == 0; }},
        {"PC_SetCursorReadout", [](PcView v) { PC_SetCursorReadout(v, 1); return true; }},
        {"PC_CursorReadout", [](PcView v) { return PC_CursorReadout(v) == 0; }},
        {"PC_GetCursorPoint", [numbers](PcView v) mutable { return PC_GetCursorPoint(v, numbers) == 0; }},
        {"PC_PickColor", [](PcView v) { return PC_PickColor(v, 1.0, 2.0) == 0xFFFFFFFFu; }},
        {"PC_SetCombineMode", [](PcView v) { PC_SetCombineMode(v, 1); return true; }},
        {"PC_GetCombineMode", [](PcView v) { return PC_GetCombineMode(v) == 0; }},
        {"PC_SelectAll", [](PcView v) { PC_SelectAll(v); return true; }},
        {"PC_InvertSelection", [](PcView v) { PC_InvertSelection(v); return true; }},
        {"PC_ClearSelection", [](PcView v) { PC_ClearSelection(v); return true; }},
        {"PC_SelectedCount", [](PcView v) { return PC_SelectedCount(v) == 0; }},
        {"PC_DeleteSelected", [](PcView v) { return PC_DeleteSelected(v) == 0; }},
        {"PC_UndoDeletion", [](PcView v) { return PC_UndoDeletion(v) == 0; }},
        {"PC_RestoreAllDeleted", [](PcView v) { return PC_RestoreAllDeleted(v) == 0; }},
        {"PC_DeletedCount", [](PcView v) { return PC_DeletedCount(v) == 0; }},
        {"PC_SurvivingCount", [](PcView v) { return PC_SurvivingCount(v) == 0; }},
        {"PC_ReadAllPoints",
         [numbers, colour, flag](PcView v) mutable { return PC_ReadAllPoints(v, numbers, &colour, &flag, 1, 0, 0) == -1; }},
        {"PC_ReadSurvivingPoints",
         [numbers, colour](PcView v) mutable { return PC_ReadSurvivingPoints(v, numbers, &colour, 1, 0) == -1; }},
    };
}

void expectEveryViewExportRefuses(PcView handle) {
    for (const ViewCall& call : viewCalls()) {
        // Start from another text, so that a call which sets nothing is caught.
        ASSERT_EQ(PC_GetParamInfo(0, nullptr), 2);
        ASSERT_EQ(lastLibraryError(), "info is null");
        EXPECT_TRUE(call.callAndCheck(handle)) << call.name << " gave the wrong invalid-handle result";
        EXPECT_EQ(lastLibraryError(), "invalid view handle") << call.name;
    }
}

TEST(HandleCheck, EveryViewExportRefusesANullHandle) {
    EXPECT_EQ(viewCalls().size(), 55u);
    expectEveryViewExportRefuses(nullptr);
}

TEST(HandleCheck, EveryViewExportRefusesMemoryWithoutTheTag) {
    alignas(16) unsigned char notAView[4096];
    std::memset(notAView, 0xA5, sizeof notAView);
    expectEveryViewExportRefuses(reinterpret_cast<PcView>(notAView));
    const uint32_t nearlyTheTag = 0x4F565749;
    std::memcpy(notAView, &nearlyTheTag, sizeof nearlyTheTag);
    expectEveryViewExportRefuses(reinterpret_cast<PcView>(notAView));
    // Nothing was written through the bad handle.
    for (std::size_t i = sizeof nearlyTheTag; i < sizeof notAView; ++i) ASSERT_EQ(notAView[i], 0xA5) << i;
}

}  // namespace
}  // namespace handle_check
