#include "navigation/NavigationController.h"

#include "core/Log.h"

namespace ovcf {

const char* navigationToolName(std::uint32_t tool) {
    switch (tool) {
        case NavigationNone: return "disarmata";
        case NavigationPan: return "spostamento armato";
        case NavigationOrbit: return "rotazione armata";
        default: return "?";
    }
}

bool NavigationController::press(std::uint32_t button, double x, double y, bool alt, bool ctrl,
                                 bool shift) {
    if (dragging()) return false;
    DragMode mode = DragNone;
    switch (button) {
        case ButtonRight:
            mode = DragPan;
            break;
        case ButtonMiddle:
            mode = DragOrbit;
            break;
        case ButtonLeft:
            if (alt || cubeHover_) mode = DragOrbit;
            else if (ctrl || shift) mode = DragNone;  // left to the selection tools
            else if (tool_ == NavigationPan) mode = DragPan;
            else if (tool_ == NavigationOrbit) mode = DragOrbit;
            break;
        default:
            break;
    }
    if (mode == DragOrbit && orbitLocked_) mode = DragNone;
    if (mode == DragNone) return false;
    startDrag(mode, button, x, y);
    return true;
}

void NavigationController::startDrag(DragMode mode, std::uint32_t button, double x, double y) {
    dragMode_ = mode;
    dragButton_ = button;
    lastX_ = x;
    lastY_ = y;
}

bool NavigationController::move(double x, double y) {
    if (!dragging()) return false;
    const double dx = x - lastX_, dy = y - lastY_;
    lastX_ = x;
    lastY_ = y;
    if (dragMode_ == DragPan) {
        camera_.pan(dx, dy);
    } else {
        const double vertical = invertVerticalOrbit_ ? -orbitSpeed_ : orbitSpeed_;
        camera_.orbit(-dx * orbitSpeed_, dy * vertical);
    }
    return true;
}

void NavigationController::release(std::uint32_t button) {
    if (dragging() && dragButton_ == button) dragMode_ = DragNone;
}

void NavigationController::wheel(double steps) { camera_.zoomWheel(steps); }

bool NavigationController::setNavigationTool(std::uint32_t tool) {
    if (tool > NavigationOrbit || tool == tool_) return false;
    tool_ = tool;
    logLine(LogInfo, "navigazione col tasto sinistro: %s", navigationToolName(tool));
    return true;
}

NavigationController::OrbitLockChange NavigationController::setOrbitLocked(bool locked) {
    OrbitLockChange change;
    if (locked == orbitLocked_) return change;
    change.changed = true;
    orbitLocked_ = locked;
    if (locked) {
        if (dragMode_ == DragOrbit) dragMode_ = DragNone;
        if (tool_ == NavigationOrbit) {
            tool_ = NavigationNone;
            change.toolDisarmed = true;
        }
    }
    logLine(LogInfo, "rotazione della vista: %s%s",
            locked ? "bloccata (restano spostamento e zoom)" : "libera",
            change.toolDisarmed ? "; l'orbita armata dalla barra e' stata disarmata" : "");
    return change;
}

}  // namespace ovcf
