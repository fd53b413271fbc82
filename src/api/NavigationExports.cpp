// Camera and navigation: zoom all, standard views, navigation tools, orbit lock.
#include "OrvanePC.h"
#include "api/ExportGuard.h"

using namespace ovcf;

extern "C" {

PC_API void PC_CALL PC_ZoomAll(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) { view.controller->zoomAll(); });  // nothing without a cloud
}

PC_API void PC_CALL PC_SetStandardView(PcView handle, int index) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->camera.setStandardView(index); });
}

PC_API void PC_CALL PC_SetNavigationTool(PcView handle, int tool) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (tool < 0) return;
        if (view.navigation->setNavigationTool(static_cast<uint32_t>(tool)))
            emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    });
}

PC_API int PC_CALL PC_NavigationTool(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return static_cast<int>(view.navigation->navigationTool()); });
}

PC_API void PC_CALL PC_SetOrbitLocked(PcView handle, int locked) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (view.navigation->setOrbitLocked(locked != 0).toolDisarmed) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    });
}

PC_API int PC_CALL PC_OrbitLocked(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.navigation->orbitLocked() ? 1 : 0; });
}

}  // extern "C"
