// Selection and rectangle tools, clip box, plane by three points, cursor readout, colour pick.
#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/InputDispatch.h"
#include "api/LastError.h"

using namespace ovcf;

extern "C" {

PC_API void PC_CALL PC_SetSelectionTool(PcView handle, int tool) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (tool >= 0) view.tools->setSelectionTool(static_cast<uint32_t>(tool));
    });
}

PC_API int PC_CALL PC_GetSelectionTool(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return static_cast<int>(view.tools->state().selectionTool); });
}

PC_API void PC_CALL PC_SetRectTool(PcView handle, int tool) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (tool >= 0) view.tools->setRectTool(static_cast<uint32_t>(tool));
    });
}

PC_API void PC_CALL PC_CancelTools(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        view.navigation->setNavigationTool(NavigationNone);  // no event of its own
        cancelViewTools(view);
    });
}

PC_API int PC_CALL PC_ConfirmPolygon(PcView handle) {
    return guarded(handle, 1, 6, [](PcViewObject& view) {
        bool selected = false;
        view.tools->confirmPolygon(&selected);
        if (selected) return 0;
        setLastError("the polygon needs at least three vertices");
        return 7;
    });
}

PC_API int PC_CALL PC_RemoveLastVertex(PcView handle) {
    return guarded(handle, 1, 6, [](PcViewObject& view) {
        if (view.tools->removeLastVertex()) return 0;
        setLastError("there is no vertex to remove");
        return 7;
    });
}

PC_API int PC_CALL PC_HasClipBox(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->clipBox.empty() ? 0 : 1; });
}

PC_API int PC_CALL PC_IsClipBoxActive(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->clipBox.isActive() ? 1 : 0; });
}

PC_API void PC_CALL PC_SetClipBoxActive(PcView handle, int active) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->clipBox.setActive(active != 0); });
}

PC_API void PC_CALL PC_ClearClipBox(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) { view.controller->clipBox.clear(); });
}

PC_API void PC_CALL PC_ScaleClipBoxThickness(PcView handle, double factor) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->clipBox.scaleThickness(factor); });
}

PC_API void PC_CALL PC_StartPlaneByThreePoints(PcView handle) {
    guardedVoid(handle, [](PcViewObject&) {});
}

PC_API void PC_CALL PC_CancelPlanePick(PcView handle) {
    guardedVoid(handle, [](PcViewObject&) {});
}

PC_API int PC_CALL PC_RemoveLastPlanePoint(PcView handle) {
    return guarded(handle, 1, 6, [](PcViewObject&) {
        setLastError("there is no plane point to remove");
        return 7;
    });
}

PC_API int PC_CALL PC_PlanePickState(PcView handle) {
    return guarded(handle, -1, -1, [](PcViewObject&) { return -1; });  // no pick is running
}

PC_API int PC_CALL PC_GetLastPlane(PcView handle, double* out8) {
    return guarded(handle, 0, 0, [](PcViewObject&) { return 0; });
}

PC_API void PC_CALL PC_SetCursorReadout(PcView handle, int enabled) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->cursorReadout = enabled != 0; });
}

PC_API int PC_CALL PC_CursorReadout(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->cursorReadout ? 1 : 0; });
}

PC_API int PC_CALL PC_GetCursorPoint(PcView handle, double* out3) {
    return guarded(handle, 0, 0, [](PcViewObject&) { return 0; });
}

PC_API uint32_t PC_CALL PC_PickColor(PcView handle, double x, double y) {
    return guarded<uint32_t>(handle, 0xFFFFFFFFu, 0xFFFFFFFFu, [](PcViewObject&) { return 0xFFFFFFFFu; });
}

}  // extern "C"
