#include "api/InputDispatch.h"

#include <cmath>

#include "api/ViewObject.h"

namespace ovcf {
namespace {

// A right press that moves farther than this on either axis is a drag, not a click.
constexpr double kClickTolerancePixels = 4.0;

void onButtonDown(PcViewObject& view, const InputEvent& event) {
    if (event.button == ButtonRight) {
        view.pointerPressed = 1;
        view.pressX = event.x;
        view.pressY = event.y;
        view.pressMoved = false;
    }
}

void onPointerMove(PcViewObject& view, const InputEvent& event) {
    if (view.pointerPressed && (std::fabs(event.x - view.pressX) > kClickTolerancePixels ||
                                std::fabs(event.y - view.pressY) > kClickTolerancePixels))
        view.pressMoved = true;
}

void onButtonUp(PcViewObject& view, const InputEvent& event) {
    if (event.button == ButtonRight) view.pointerPressed = 0;
}

void onKeyDown(PcViewObject& view, const InputEvent& event) {
    if (event.key != KeyEscape) return;
    ToolState& tools = view.controller->tools;
    const bool hadNavigationTool = tools.navigationTool != 0;
    const bool hadTool = tools.selectionTool != 0 || tools.rectTool != 0;
    tools.navigationTool = 0;
    tools.selectionTool = 0;
    tools.rectTool = 0;
    if (hadTool || hadNavigationTool) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
}

}  // namespace

void dispatchInput(const InputEvent& event, void* context) {
    auto& view = *static_cast<PcViewObject*>(context);
    if (view.tag != kViewTag || !view.controller) return;
    switch (event.type) {
        case InputButtonDown: onButtonDown(view, event); break;
        case InputButtonUp: onButtonUp(view, event); break;
        case InputPointerMove: onPointerMove(view, event); break;
        case InputKeyDown: onKeyDown(view, event); break;
        case InputSizeChanged:
            view.controller->resize(static_cast<int>(event.x), static_cast<int>(event.y));
            break;
        default: break;
    }
}

}  // namespace ovcf
