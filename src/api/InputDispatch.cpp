#include "api/InputDispatch.h"

#include "api/ViewObject.h"

namespace ovcf {
namespace {

void onButtonDown(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ViewController& controller = *view.controller;
    ToolStateMachine& tools = *view.tools;
    switch (event.button) {
        case ButtonRight:
            view.rightClick.press(event.x, event.y);
            navigation.press(ButtonRight, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        case ButtonMiddle:
            navigation.press(ButtonMiddle, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        case ButtonLeft: {
            if (navigation.navigationTool() == NavigationNone) {
                const bool overCube = controller.cube.hitFace(event.x, event.y, controller.camera) != CubeFaceNone;
                if (tools.state().rectTool != RectToolNone) {
                    tools.beginRectangle(event.x, event.y);
                    break;
                }
                if (tools.state().selectionTool != SelectionToolNone && !overCube) {
                    tools.beginShape(event.x, event.y);
                    break;
                }
                // The cube remembers which face was pressed; the press still reaches navigation,
                // which turns a press over the cube into an orbit drag.
                controller.cube.pressLeft(event.x, event.y, controller.camera);
            }
            navigation.press(ButtonLeft, event.x, event.y, event.alt, event.ctrl, event.shift);
            break;
        }
        default: break;
    }
}

void onPointerMove(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ViewController& controller = *view.controller;
    ToolStateMachine& tools = *view.tools;
    view.rightClick.move(event.x, event.y);
    if (tools.state().rectDrag) {
        tools.dragRectangle(event.x, event.y);
        return;
    }
    if (tools.state().shapeDrag || tools.polygonCollecting()) {
        tools.dragShape(event.x, event.y);
        navigation.move(event.x, event.y);
        return;
    }
    if (!navigation.dragging()) {
        navigation.setCubeHover(controller.cube.updateHover(event.x, event.y, controller.camera));
    } else {
        controller.cube.moveTo(event.x, event.y);
    }
    navigation.move(event.x, event.y);
}

// A left release that no tool took: a click on the cube turns to its face's view.
void releaseLeftToNavigation(PcViewObject& view, const InputEvent& event) {
    ViewController& controller = *view.controller;
    const int standardView = controller.cube.releaseLeft(event.x, event.y);
    if (standardView >= 0) controller.camera.setStandardView(standardView);
    view.navigation->release(ButtonLeft);
}

void onButtonUp(PcViewObject& view, const InputEvent& event) {
    NavigationController& navigation = *view.navigation;
    ToolStateMachine& tools = *view.tools;
    switch (event.button) {
        case ButtonRight: {
            const bool click = view.rightClick.release();
            navigation.release(ButtonRight);
            if (click && tools.polygonCollecting()) tools.removeLastVertex();
            break;
        }
        case ButtonMiddle: navigation.release(ButtonMiddle); break;
        case ButtonLeft: {
            if (navigation.navigationTool() != NavigationNone) {
                navigation.release(ButtonLeft);
            } else if (tools.state().rectDrag) {
                // What the band then does (zoom window, clip box) comes with those tools.
                tools.endRectangle(event.x, event.y);
                navigation.release(ButtonLeft);
            } else if (tools.state().selectionTool != SelectionToolNone) {
                const std::uint32_t tool = tools.state().selectionTool;
                if (!tools.finishShape(event.x, event.y) && tool != SelectionToolPolygon)
                    releaseLeftToNavigation(view, event);
            } else {
                releaseLeftToNavigation(view, event);
            }
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
    if (event.key == KeyEscape) {
        const bool hadNavigationTool = view.navigation->setNavigationTool(NavigationNone);
        if (!cancelViewTools(view) && hadNavigationTool) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
    } else if (event.key == KeyEnter) {
        view.tools->confirmPolygon();
    }
}

}  // namespace

bool cancelViewTools(PcViewObject& view) { return view.tools->cancelTools(); }

void dispatchInput(const InputEvent& event, void* context) {
    auto& view = *static_cast<PcViewObject*>(context);
    if (view.tag != kViewTag || !view.controller || !view.navigation || !view.tools) return;
    ViewCallScope call(view);
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
