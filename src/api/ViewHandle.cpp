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
    if (view.controller) {
        state.pointCount = view.controller->pointCount();
        state.selectedCount = view.controller->selectedCount();
        state.deletedCount = view.controller->deletedCount();
        const ToolState& tools = view.controller->tools;
        state.selectionTool = tools.selectionTool;
        state.combineMode = view.controller->settings.selection.combineMode;
        state.rectTool = tools.rectTool;
    }
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
    if (!view.eventCallback) return;
    PcViewState state;
    fillViewState(view, state);
    view.eventCallback(event, &state, view.eventUserData);
}

}  // namespace ovcf
