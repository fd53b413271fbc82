// View lifecycle: create, destroy, resize, render, event callback, state.
#include <new>

#include "OrvanePC.h"
#include "api/ExportGuard.h"
#include "api/InputDispatch.h"
#include "api/LastError.h"
#include "api/ViewObject.h"
#include "api/ViewToolHost.h"
#include "core/Log.h"

using namespace ovcf;


extern "C" {

PC_API PcView PC_CALL PC_CreateView(PcParentWindow parent) {
    // The new context is made current to build the view; the host's is current again after.
    const CurrentGlContextGuard hostContext;
    PcViewObject* view = new (std::nothrow) PcViewObject();
    if (!view) {
        setLastError("out of memory");
        return nullptr;
    }
    try {
        view->controller = std::make_unique<ViewController>();
        std::string error;
        view->window = ViewWindow::create(reinterpret_cast<NativeWindow>(parent), error);
        if (!view->window || !view->controller->initializeGl(error)) {
            setLastError(error);
            destroyViewObject(view);
            return nullptr;
        }
        view->glReady = true;
        view->controller->resize(view->window->width(), view->window->height());
        view->navigation = std::make_unique<NavigationController>(view->controller->camera);
        view->toolHost = std::make_unique<ViewToolHost>(*view);
        view->tools = std::make_unique<ToolStateMachine>(*view->toolHost);
        view->window->setInputSink(&dispatchInput, view);
        if (logLevelThreshold() < LogWarn)
            logLine(LogInfo, "vista creata: %d x %d pixel", view->window->width(), view->window->height());
        return reinterpret_cast<PcView>(view);
    } catch (const std::bad_alloc&) {
        setLastError("out of memory");
    } catch (const std::exception& e) {
        setLastError(e.what());
    }
    destroyViewObject(view);
    return nullptr;
}

PC_API void PC_CALL PC_DestroyView(PcView handle) {
    PcViewObject* view = checkView(handle);
    if (!view) return;
    if (view->callDepth > 0) {
        // Called back from inside the view (an event or log callback): the handle dies now, the
        // object when the call that raised the callback returns.
        view->tag = 0;
        view->destroyPending = true;
        return;
    }
    destroyViewObject(view);
}

PC_API void PC_CALL PC_Resize(PcView handle) {
    guardedVoid(handle, [](PcViewObject& view) {
        if (view.window->followParentSize()) view.controller->resize(view.window->width(), view.window->height());
    });
}

PC_API int PC_CALL PC_Render(PcView handle) {
    return guarded(handle, 0, 0, [](PcViewObject& view) {
        if (!view.window->makeCurrent()) return 0;
        if (view.window->followParentSize()) view.controller->resize(view.window->width(), view.window->height());
        const bool more = view.controller->drawFrame(view.tools ? &view.tools->state() : nullptr);
        view.window->present();
        return more ? 1 : 0;
    });
}

PC_API void PC_CALL PC_SetEventCallback(PcView handle, PcEventCallback callback, void* userData) {
    guardedVoid(handle, [&](PcViewObject& view) {
        view.eventCallback = callback;
        view.eventUserData = callback ? userData : nullptr;
    });
}

PC_API int PC_CALL PC_GetState(PcView handle, PcViewState* state) {
    return guarded(handle, 1, 6, [&](PcViewObject& view) {
        if (!state) {
            setLastError("state is null");
            return 2;
        }
        fillViewState(view, *state);
        return 0;
    });
}

}  // extern "C"
