// Selection and rectangle tools, clip box, plane by three points, cursor readout, colour pick.
#include <algorithm>
#include <iterator>

#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/InputDispatch.h"
#include "api/LastError.h"
#include "api/ParameterTable.h"
#include "core/Log.h"

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
    guardedVoid(handle, [](PcViewObject& view) {
        view.navigation->setNavigationTool(NavigationNone);
        view.controller->planePick.start();
        emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    });
}

PC_API void PC_CALL PC_CancelPlanePick(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        if (view.controller->planePick.cancel()) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    });
}

PC_API int PC_CALL PC_RemoveLastPlanePoint(PcView handle) {
    return guarded(handle, 1, 6, [](PcViewObject& view) {
        if (!view.controller->planePick.removeLastPoint()) {
            setLastError("there is no plane point to remove");
            return 7;
        }
        emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
        return 0;
    });
}

PC_API int PC_CALL PC_PlanePickState(PcView handle) {
    return guarded(handle, -1, -1, [](PcViewObject& view) { return view.controller->planePick.reportedState(); });
}

PC_API int PC_CALL PC_GetLastPlane(PcView handle, double* out8) {
    return guarded(handle, 0, 0, [&](PcViewObject& view) {
        const PlaneResult& plane = view.controller->planePick.result();
        if (!out8 || !plane.valid) return 0;
        const double values[8] = {plane.normal.x,   plane.normal.y,   plane.normal.z,      plane.centroid.x,
                                  plane.centroid.y, plane.centroid.z, plane.heightRatio, plane.inclination};
        std::copy(std::begin(values), std::end(values), out8);
        return 1;
    });
}

PC_API void PC_CALL PC_SetCursorReadout(PcView handle, int enabled) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->setCursorReadout(enabled != 0); });
}

PC_API int PC_CALL PC_CursorReadout(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->cursorReadout().on ? 1 : 0; });
}

PC_API int PC_CALL PC_GetCursorPoint(PcView handle, double* out3) {
    return guarded(handle, 0, 0, [&](PcViewObject& view) {
        const CursorReadout& readout = view.controller->cursorReadout();
        if (!out3 || !readout.valid) return 0;
        out3[0] = readout.point.x;
        out3[1] = readout.point.y;
        out3[2] = readout.point.z;
        return 1;
    });
}

PC_API uint32_t PC_CALL PC_PickColor(PcView handle, double x, double y) {
    return guarded<uint32_t>(handle, kNoPickedColor, kNoPickedColor, [&](PcViewObject& view) {
        if (!view.window || !view.window->makeCurrent()) return kNoPickedColor;
        const std::uint32_t rgb = view.controller->pickColor(x, y);
        if (rgb == kNoPickedColor) return rgb;
        const auto mode = static_cast<int>(view.controller->settings.render.colorMode);
        logLine(LogInfo, "colore prelevato: #%02X%02X%02X con la colorazione %s", (rgb >> 16) & 0xFFu, (rgb >> 8) & 0xFFu,
                rgb & 0xFFu, colorModeDisplayName(mode));
        return rgb;
    });
}

}  // extern "C"
