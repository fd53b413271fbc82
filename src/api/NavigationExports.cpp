// Camera and navigation: zoom all, standard views, navigation tools, orbit lock.
#include "OrvanePC.h"
#include "api/ExportGuard.h"

using namespace ovcf;

extern "C" {

PC_API void PC_CALL PC_ZoomAll(PcView handle) {
    guardedVoid(handle, [](PcViewObject&) {});  // nothing to fit without a cloud
}

PC_API void PC_CALL PC_SetStandardView(PcView handle, int index) {
    guardedVoid(handle, [](PcViewObject&) {});
}

PC_API void PC_CALL PC_SetNavigationTool(PcView handle, int tool) {
    guardedVoid(handle, [&](PcViewObject& view) {
        if (tool >= 0 && tool <= 2) view.controller->tools.navigationTool = static_cast<uint32_t>(tool);
    });
}

PC_API int PC_CALL PC_NavigationTool(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return static_cast<int>(view.controller->tools.navigationTool); });
}

PC_API void PC_CALL PC_SetOrbitLocked(PcView handle, int locked) {
    guardedVoid(handle, [&](PcViewObject& view) { view.controller->tools.orbitLocked = locked != 0; });
}

PC_API int PC_CALL PC_OrbitLocked(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->tools.orbitLocked ? 1 : 0; });
}

}  // extern "C"
