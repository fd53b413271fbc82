// Opening and closing a cloud in a view, and confirming deletions into its file.
#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/LastError.h"

using namespace ovcf;

extern "C" {

PC_API int PC_CALL PC_OpenFile(PcView handle, const char* path) {
    return guarded(handle, 1, 6, [&](PcViewObject& view) {
        if (const int status = requirePathAndContext(view, path)) return status;
        std::string error;
        if (!view.controller->openCloud(path, error)) {
            setLastError(error);
            return 4;
        }
        emitViewEvent(view, PC_EVENT_CLOUD_OPENED);
        view.controller->logCloudOpened();
        return 0;
    });
}

PC_API void PC_CALL PC_CloseCloud(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        // Node buffers are GL objects of the view's own context: they go with it current, or
        // are left to die with the context when it cannot be made current. Never another's.
        if (view.window->makeCurrent()) view.controller->closeCloud();
        else view.controller->closeCloudWithoutGl();
    });
}

PC_API uint64_t PC_CALL PC_PointCount(PcView handle) {
    return guarded<uint64_t>(handle, 0, 0, [](PcViewObject& view) { return view.controller->pointCount(); });
}

PC_API int PC_CALL PC_HasUnsavedChanges(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.controller->hasUnsavedChanges() ? 1 : 0; });
}

PC_API int PC_CALL PC_ConfirmChanges(PcView handle) {
    return guarded(handle, 1, 6, [](PcViewObject& view) {
        if (!view.controller->hasCloud()) {
            setLastError("no cloud is open");
            return 3;
        }
        bool wrote = false;
        std::string error;
        if (!view.controller->confirmChanges(wrote, error)) {
            setLastError(error);
            return 6;
        }
        if (wrote) emitViewEvent(view, PC_EVENT_FILE_STATE_CHANGED);
        return 0;
    });
}

}  // extern "C"
