#include "api/InputDispatch.h"

#include <cmath>

#include "api/ExportGuard.h"
#include "api/ViewObject.h"
#include "core/Log.h"

namespace ovcf {
namespace {

// A plane point from the last frame's depth, under the wait cursor: searching the loaded points
// may take a moment.
void addPlanePoint(PcViewObject& view, const InputEvent& event) {
    if (view.window) view.window->setWaitCursor(true);
    const bool changed = view.window && view.window->makeCurrent() && view.controller->addPlanePoint(event.x, event.y);
    if (view.window) view.window->setWaitCursor(false);
    if (changed) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
}

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
                if (controller.planePick.tracing() && !overCube) {
                    addPlanePoint(view, event);
                    break;
                }
                if (tools.state().rectTool != RectToolNone) {
                    tools.beginRectangle(event.x, event.y);
                    break;
                }
                if (tools.state().selectionTool != SelectionToolNone && !overCube) {
                    tools.beginShape(event.x, event.y);
                    break;
                }
                ClipBox& box = controller.clipBox;
                if (box.pressHandle(box.hitHandle(controller.camera, event.x, event.y), event.x, event.y)) break;
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
    controller.cursorMoved(event.x, event.y);
    view.rightClick.move(event.x, event.y);
    ClipBox& box = controller.clipBox;
    if (box.pressedHandle() != ClipBox::kNoHandle) {
        box.dragHandle(controller.camera, event.x, event.y);
        return;
    }
    if (tools.state().rectDrag) {
        tools.dragRectangle(event.x, event.y);
        return;
    }
    if (tools.state().shapeDrag || tools.polygonCollecting()) {
        tools.dragShape(event.x, event.y);
        // An orbit begun on the cube while the polygon is drawn is a drag of the cube, not a click.
        if (navigation.dragging()) controller.cube.moveTo(event.x, event.y);
        navigation.move(event.x, event.y);
        return;
    }
    if (!navigation.dragging()) {
        navigation.setCubeHover(controller.cube.updateHover(event.x, event.y, controller.camera));
        const bool toolArmed = tools.state().rectTool != RectToolNone || tools.state().selectionTool != SelectionToolNone;
        box.setHoveredHandle(toolArmed ? ClipBox::kNoHandle : box.hitHandle(controller.camera, event.x, event.y));
        if (box.hoveredHandle() != ClipBox::kNoHandle) navigation.setCubeHover(false);
    } else {
        controller.cube.moveTo(event.x, event.y);
    }
    navigation.move(event.x, event.y);
}

// The rubber band ends: the zoom window or the clip box acts on it once, then the left button
// returns to navigation.
void finishRectangle(PcViewObject& view, const InputEvent& event) {
    ToolStateMachine& tools = *view.tools;
    tools.endRectangle(event.x, event.y);
    const ToolState& band = tools.state();
    const double x0 = band.corner0X, y0 = band.corner0Y, x1 = band.corner1X, y1 = band.corner1Y;
    const std::uint32_t tool = tools.takeRectTool();
    if (std::fabs(x1 - x0) < ClipBox::kMinRectangle || std::fabs(y1 - y0) < ClipBox::kMinRectangle) {
        if (tool != RectToolNone) emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
        return;
    }
    // The depth under the band is the last frame's, in the view's own context.
    if (view.window->makeCurrent()) {
        if (tool == RectToolZoomWindow) view.controller->zoomWindow(x0, y0, x1, y1);
        if (tool == RectToolClipBox && view.controller->clipBoxFromRectangle(x0, y0, x1, y1))
            emitViewEvent(view, PC_EVENT_CLIP_BOX_CHANGED);
    }
    emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
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
            if (click && tools.polygonCollecting()) {
                tools.removeLastVertex();
            } else if (click && view.controller->planePick.tracing() && view.controller->planePick.pointCount() > 0) {
                view.controller->planePick.removeLastPoint();
                emitViewEvent(view, PC_EVENT_TOOL_STATE_CHANGED);
            }
            break;
        }
        case ButtonMiddle: navigation.release(ButtonMiddle); break;
        case ButtonLeft: {
            if (navigation.navigationTool() != NavigationNone || view.controller->planePick.tracing()) {
                navigation.release(ButtonLeft);
            } else if (view.controller->clipBox.pressedHandle() != ClipBox::kNoHandle) {
                view.controller->clipBox.releaseHandle();
                navigation.release(ButtonLeft);
            } else if (tools.state().rectDrag) {
                finishRectangle(view, event);
                navigation.release(ButtonLeft);
            } else if (tools.state().selectionTool != SelectionToolNone) {
                // A press that no shape took (one on the cube, also while a polygon is drawn)
                // started navigation; its release ends it.
                if (!tools.finishShape(event.x, event.y)) releaseLeftToNavigation(view, event);
            } else {
                releaseLeftToNavigation(view, event);
            }
            break;
        }
        default: break;
    }
}

void onPointerLeft(PcViewObject& view) {
    view.controller->cursorLeft();
    view.controller->cube.clearHover();
    view.navigation->setCubeHover(false);
}

// The pointer capture or the focus went elsewhere mid-gesture: the button-up will not come, so
// every drag ends without acting, and the next press starts afresh.
void onCaptureLost(PcViewObject& view) {
    view.navigation->abortDrag();
    view.rightClick.release();
    view.controller->clipBox.releaseHandle();
    view.controller->cube.cancelPress();
    view.tools->abortDrags();
    onPointerLeft(view);
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
    // Input arrives through the window procedure, called from the host's message loop: nothing
    // thrown here may unwind into it. The gesture is lost, the view goes on.
    const int failed = guardedGlobal(1, [&] {
        switch (event.type) {
            case InputButtonDown: onButtonDown(view, event); break;
            case InputButtonUp: onButtonUp(view, event); break;
            case InputPointerMove: onPointerMove(view, event); break;
            case InputPointerLeft: onPointerLeft(view); break;
            case InputWheel: view.navigation->wheel(event.wheel); break;
            case InputKeyDown: onKeyDown(view, event); break;
            case InputCaptureLost: onCaptureLost(view); break;
            case InputSizeChanged:
                view.controller->resize(static_cast<int>(event.x), static_cast<int>(event.y));
                break;
            default: break;
        }
        return 0;
    });
    if (failed) logLine(LogError, "input della vista non eseguito: %s", lastError().c_str());
}

}  // namespace ovcf
