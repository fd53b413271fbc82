#include <cstring>

#include "api/LastError.h"
#include "api/ViewObject.h"

namespace ovcf {
namespace {

// A stale handle points at freed memory whose tag was cleared before the free; reading that
// word is the whole point of the check, so the address sanitizer is told to let it pass.
#if defined(__clang__) || defined(__GNUC__)
__attribute__((no_sanitize("address")))
#endif
std::uint32_t readTag(const void* handle) {
    std::uint32_t tag;
    std::memcpy(&tag, handle, sizeof tag);
    return tag;
}

}  // namespace

PcViewObject* checkView(PcView handle) {
    if (!handle || readTag(handle) != kViewTag) {
        setLastError("invalid view handle");
        return nullptr;
    }
    return reinterpret_cast<PcViewObject*>(handle);
}

void fillViewState(const PcViewObject& view, PcViewState& state) {
    state = PcViewState{};
    if (!view.controller) return;
    const ViewController& controller = *view.controller;
    state.pointCount = controller.pointCount();
    state.selectedCount = controller.selectedCount();
    state.deletedCount = controller.deletedCount();
    state.hasUnsavedChanges = controller.hasUnsavedChanges() ? 1 : 0;
    state.canUndo = controller.canUndo() ? 1 : 0;
    state.combineMode = controller.settings.selection.combineMode;
    if (view.tools) {
        const ToolState& tools = view.tools->state();
        state.selectionTool = tools.selectionTool;
        state.rectTool = tools.rectTool;
        state.polygonVertexCount = static_cast<std::uint32_t>(tools.polygon.size() / 2);
    }
    state.hasClipBox = controller.clipBox.empty() ? 0 : 1;
    state.clipBoxActive = controller.clipBox.isActive() ? 1 : 0;
    state.lastSelectionFound = controller.lastSelection().found;
    state.lastSelectionSeconds = controller.lastSelection().seconds;
}

int requirePathAndContext(PcViewObject& view, const char* path) {
    if (!path || !*path) {
        setLastError("the path is empty");
        return 2;
    }
    if (!view.window->makeCurrent()) {
        setLastError("cannot activate the OpenGL context");
        return 5;
    }
    return 0;
}

void emitViewEvent(PcViewObject& view, int event) {
    if (!view.eventCallback || view.destroyPending) return;
    PcViewState state;
    fillViewState(view, state);
    view.eventCallback(event, &state, view.eventUserData);
}

void destroyViewObject(PcViewObject* view) {
    const CurrentGlContextGuard hostContext;
    try {
        {
            const std::unique_ptr<WindowErrorScope> errors = view->window ? view->window->trapErrors() : nullptr;
            // The cloud's loader threads stop and the GL objects go while the context is current;
            // never through whatever other context is current instead.
            const bool current = view->window && view->window->makeCurrent();
            if (view->controller) {
                if (!current) view->controller->abandonGl();
                else if (view->glReady) view->controller->releaseGl();
                else view->controller->closeCloud();
            }
        }
        if (view->window) view->window->destroy();
    } catch (...) {
        setLastError("unexpected internal error");
    }
    view->tag = 0;
    view->window.reset();
    view->tools.reset();
    view->toolHost.reset();
    view->navigation.reset();
    view->controller.reset();
    delete view;
}

ViewCallScope::ViewCallScope(PcViewObject& view) : view_(view) {
    if (view_.callDepth++ > 0) return;
    hostContext_.emplace();
    if (view_.window) windowErrors_ = view_.window->trapErrors();
}

ViewCallScope::~ViewCallScope() {
    // The error scope ends before a destruction closes the window system's connection, and the
    // host's context is current again before the view's own context goes.
    windowErrors_.reset();
    hostContext_.reset();
    if (--view_.callDepth == 0 && view_.destroyPending) destroyViewObject(&view_);
}

}  // namespace ovcf
