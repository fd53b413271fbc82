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

PC_API void PC_CALL PC_SelectAll(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        if (!view.controller->hasCloud()) return;
        view.controller->selectAll();
        emitViewEvent(view, PC_EVENT_SELECTION_CHANGED);
    });
}

PC_API void PC_CALL PC_InvertSelection(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        if (!view.controller->hasCloud()) return;
        view.controller->invertSelection();
        emitViewEvent(view, PC_EVENT_SELECTION_CHANGED);
    });
}

PC_API void PC_CALL PC_ClearSelection(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        view.controller->clearSelection();
        emitViewEvent(view, PC_EVENT_SELECTION_CHANGED);
    });
}

PC_API uint64_t PC_CALL PC_SelectedCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) { return view.controller->selectedCount(); });
}

PC_API uint64_t PC_CALL PC_DeleteSelected(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) {
        bool changed = false;
        const uint64_t newly = view.controller->deleteSelected(changed);
        if (changed) emitViewEvent(view, PC_EVENT_DELETIONS_CHANGED);
        return newly;
    });
}

PC_API uint64_t PC_CALL PC_UndoDeletion(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) {
        bool changed = false;
        const uint64_t restored = view.controller->undoDeletion(changed);
        if (changed) emitViewEvent(view, PC_EVENT_DELETIONS_CHANGED);
        return restored;
    });
}

PC_API uint64_t PC_CALL PC_RestoreAllDeleted(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) {
        bool changed = false;
        const uint64_t restored = view.controller->restoreAllDeleted(changed);
        if (changed) {
            emitViewEvent(view, PC_EVENT_DELETIONS_CHANGED);
            emitViewEvent(view, PC_EVENT_FILE_STATE_CHANGED);
        }
        return restored;
    });
}

PC_API uint64_t PC_CALL PC_DeletedCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) { return view.controller->deletedCount(); });
}

PC_API uint64_t PC_CALL PC_SurvivingCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) {
        return view.controller->pointCount() - view.controller->deletedCount();
    });
}

PC_API int64_t PC_CALL PC_ReadAllPoints(PcView handle, double* xyz, uint32_t* colors, uint8_t* showFlags,
                                        int64_t capacity, int sortByElevation, int hideOutsideClipBox) {
    return guarded<int64_t>(handle, -1, -1, [&](PcViewObject& view) {
        if (!view.controller->hasCloud()) {
            setLastError("no cloud is open");
            return int64_t{-1};
        }
        std::string error;
        const int64_t written = view.controller->readAllPoints({xyz, colors, showFlags, capacity}, sortByElevation != 0,
                                                               hideOutsideClipBox != 0, error);
        if (written < 0) setLastError(error);
        return written;
    });
}

PC_API int64_t PC_CALL PC_ReadSurvivingPoints(PcView handle, double* xyz, uint32_t* colors, int64_t capacity,
                                              int sortByElevation) {
    return guarded<int64_t>(handle, -1, -1, [&](PcViewObject& view) {
        if (!view.controller->hasCloud()) {
            setLastError("no cloud is open");
            return int64_t{-1};
        }
        std::string error;
        const int64_t written =
            view.controller->readSurvivingPoints({xyz, colors, nullptr, capacity}, sortByElevation != 0, error);
        if (written < 0) setLastError(error);
        return written;
    });
}

}  // extern "C"
