// Linux-only: X11 has no window procedure, so the host drains the view window's events.
#include "OrvanePC.h"
#include "api/ExportGuard.h"

using namespace ovcf;

extern "C" {

PC_API int PC_CALL PC_X11ProcessEvents(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) { return view.window->processPendingEvents(); });
}

}  // extern "C"
