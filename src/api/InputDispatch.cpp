#include "api/InputDispatch.h"

#include "api/ViewObject.h"

namespace ovcf {
namespace {

void onButtonDown(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ViewController& controller = *view.controller;
    switch (event.button) {
        case ButtonRight:
            view.rightClick.press(event.x, event.y);
            navigation.press(ButtonRight, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        case ButtonMiddle:
            navigation.press(ButtonMiddle, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        case ButtonLeft:
            // The cube remembers which face was pressed; the press still reaches navigation,
            // which turns a press over the cube into an orbit drag.
            if (navigation.navigationTool() == NavigationNone) controller.cube.pressLeft(event.x, event.y, controller.camera);
            navigation.press(ButtonLeft, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        default: break;
    }
}

void onPointerMove(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ViewController& controller = *view.controller;
    view.rightClick.move(event.x, event.y);
    if (!navigation.dragging()) {
        navigation.setCubeHover(controller.cube.updateHover(event.x, event.y, controller.camera));
    } else {
        controller.cube.moveTo(event.x, event.y);
    }
    navigation.move(event.x, event.y);
}

void onButtonUp(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ViewController& controller = *view.controller;
    switch (event.button) {
        case ButtonRight:
            // A right click (no drag) will remove the last polygon or plane vertex once those
            // tools exist; either way the press ends here.
            view.rightClick.release();
            navigation.release(ButtonRight);
            break;
        case ButtonMiddle: navigation.release(ButtonMiddle); break;
        case ButtonLeft: {
            const int standardView = controller.cube.releaseLeft(event.x, event.y);
            if (standardView >= 0) controller.camera.setStandardView(standardView);
            navigation.release(ButtonLeft);
            break;
        }
        default: break;
    }
}

void onPointerLeft(PcViewObject& view) {
    view.controller->cube.clearHover();
    view.navigation->setCubeHover(false);
}

void onKeyDown(PcViewObject& view, const InputEvent& event) {
    if (event.key != KeyEscape) return;
    const bool hadNavigationTool = view.navigation->setNavigationTool(NavigationNone);
    if (!cancelViewTools(view) && hadNavigationTool) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
}

}  // namespace

bool cancelViewTools(PcViewObject& view) {
    ToolState& tools = view.controller->tools;
    if (tools.selectionTool == 0 && tools.rectTool == 0) return false;
    tools.selectionTool = 0;
    tools.rectTool = 0;
    emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    return true;
}

void dispatchInput(const InputEvent& event, void* context) {
    auto& view = *static_cast<PcViewObject*>(context);
    if (view.tag != kViewTag || !view.controller || !view.navigation) return;
    switch (event.type) {
        case InputButtonDown: onButtonDown(view, event); break;
        case InputButtonUp: onButtonUp(view, event); break;
        case InputPointerMove: onPointerMove(view, event); break;
        case InputPointerLeft: onPointerLeft(view); break;
        case InputWheel: view.navigation->wheel(event.wheel); break;
        case InputKeyDown: onKeyDown(view, event); break;
        case InputSizeChanged:
            view.controller->resize(static_cast<int>(event.x), static_cast<int>(event.y));
            break;
        default: break;
    }
}

}  // namespace ovcf
