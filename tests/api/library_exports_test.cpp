#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "ExportTable.h"

namespace {

// The module's whole interface, by name.
const char* const kExports[] = {
    "PC_Version", "PC_LastError", "PC_SetLogCallback", "PC_InitializeDiagnostics", "PC_CreateView",
    "PC_DestroyView", "PC_Resize", "PC_Render", "PC_SetEventCallback", "PC_GetState", "PC_OpenFile",
    "PC_CloseCloud", "PC_PointCount", "PC_HasUnsavedChanges", "PC_ConfirmChanges", "PC_CachePathFor",
    "PC_CheckCache", "PC_ComputeSignature", "PC_BuildCacheFromMemory", "PC_ParamCount", "PC_GetParamInfo",
    "PC_GetChoiceName", "PC_GetValue", "PC_SetValue", "PC_GetColor", "PC_SetColor", "PC_SetOverlayText",
    "PC_SaveScreenshot", "PC_ZoomAll", "PC_SetStandardView", "PC_SetNavigationTool", "PC_NavigationTool",
    "PC_SetOrbitLocked", "PC_OrbitLocked", "PC_SetSelectionTool", "PC_GetSelectionTool", "PC_SetRectTool",
    "PC_CancelTools", "PC_ConfirmPolygon", "PC_RemoveLastVertex", "PC_HasClipBox", "PC_IsClipBoxActive",
    "PC_SetClipBoxActive", "PC_ClearClipBox", "PC_ScaleClipBoxThickness", "PC_StartPlaneByThreePoints",
    "PC_CancelPlanePick", "PC_RemoveLastPlanePoint", "PC_PlanePickState", "PC_GetLastPlane",
    "PC_SetCursorReadout", "PC_CursorReadout", "PC_GetCursorPoint", "PC_PickColor", "PC_SetCombineMode",
    "PC_GetCombineMode", "PC_SelectAll", "PC_InvertSelection", "PC_ClearSelection", "PC_SelectedCount",
    "PC_DeleteSelected", "PC_UndoDeletion", "PC_RestoreAllDeleted", "PC_DeletedCount", "PC_SurvivingCount",
    "PC_ReadAllPoints", "PC_ReadSurvivingPoints"};

TEST(LibraryExports, TheLibraryExportsExactlyTheInterface) {
    std::vector<std::string> names;
    std::string error;
    ASSERT_TRUE(ovcf::test::readExportedNames(ORVANE_LIBRARY_FILE, names, error)) << error;
    std::set<std::string> expected(std::begin(kExports), std::end(kExports));
    ASSERT_EQ(expected.size(), 67u);
    if (names.size() > 67) expected.insert("PC_X11ProcessEvents");  // the Linux library's one extension
    std::sort(names.begin(), names.end());
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
    EXPECT_EQ(names.size(), expected.size()) << "a name is exported twice";
#if defined(_WIN32)
    EXPECT_EQ(names.size(), 67u);
#endif
}

}  // namespace
