// Selection, deletion with undo, and reading points back.
#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/LastError.h"

using namespace ovcf;

extern "C" {

PC_API void PC_CALL PC_SetCombineMode(PcView handle, int mode) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (mode >= 0) view.controller->settings.selection.setCombineMode(static_cast<uint32_t>(mode));
    });
}

PC_API int PC_CALL PC_GetCombineMode(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return static_cast<int>(view.controller->settings.selection.combineMode); });
}

PC_API void PC_CALL PC_SelectAll(PcView handle) { guardedVoid(handle, [](PcViewObject&) {}); }
PC_API void PC_CALL PC_InvertSelection(PcView handle) { guardedVoid(handle, [](PcViewObject&) {}); }
PC_API void PC_CALL PC_ClearSelection(PcView handle) { guardedVoid(handle, [](PcViewObject&) {}); }

PC_API uint64_t PC_CALL PC_SelectedCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API uint64_t PC_CALL PC_DeleteSelected(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API uint64_t PC_CALL PC_UndoDeletion(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API uint64_t PC_CALL PC_RestoreAllDeleted(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API uint64_t PC_CALL PC_DeletedCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API uint64_t PC_CALL PC_SurvivingCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject&) { return uint64_t{0}; });
}

PC_API int64_t PC_CALL PC_ReadAllPoints(PcView handle, double* xyz, uint32_t* colors, uint8_t* showFlags,
                                        int64_t capacity, int sortByElevation, int hideOutsideClipBox) {
    return guarded<int64_t>(handle, -1, -1, [](PcViewObject&) {
        setLastError("no cloud is open");
        return int64_t{-1};
    });
}

PC_API int64_t PC_CALL PC_ReadSurvivingPoints(PcView handle, double* xyz, uint32_t* colors, int64_t capacity,
                                              int sortByElevation) {
    return guarded<int64_t>(handle, -1, -1, [](PcViewObject&) {
        setLastError("no cloud is open");
        return int64_t{-1};
    });
}

}  // extern "C"
