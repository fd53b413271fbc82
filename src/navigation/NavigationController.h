// Turns mouse drags and the wheel into camera motion: right button pans, middle button orbits,
// the left button orbits with Alt or over the navigation cube, or does what the armed
// navigation tool says. One per view; the camera is the view's and is not owned.
#pragma once

#include <cstdint>

#include "platform/InputEvent.h"

#include "navigation/Camera.h"

namespace ovcf {

enum DragMode : std::uint32_t { DragNone = 0, DragPan = 1, DragOrbit = 2 };
enum NavigationTool : std::uint32_t { NavigationNone = 0, NavigationPan = 1, NavigationOrbit = 2 };

// "disarmata", "spostamento armato", "rotazione armata"; "?" for other values.
const char* navigationToolName(std::uint32_t tool);

class NavigationController {
public:
    static constexpr double kOrbitDegreesPerPixel = 0.3;

    struct OrbitLockChange {
        bool changed = false;       // the flag took a new value
        bool toolDisarmed = false;  // locking disarmed the orbit tool: the host must hear of it
    };

    explicit NavigationController(Camera& camera) : camera_(camera) {}

    // Starts a drag when the button and state call for one; a press during a drag is swallowed.
    // Returns whether a drag started.
    bool press(std::uint32_t button, double x, double y, bool alt, bool ctrl, bool shift);
    // Moves the camera by the motion since the last position while a drag runs; returns whether
    // it did.
    bool move(double x, double y);
    // Ends the drag if that button started it.
    void release(std::uint32_t button);
    // Ends any drag, whichever button started it (the release will never come).
    void abortDrag() { dragMode_ = DragNone; }
    // Notches of the wheel, positive away from the user; zooms about the target.
    void wheel(double steps);

    bool dragging() const { return dragMode_ != DragNone; }
    DragMode dragMode() const { return dragMode_; }
    std::uint32_t dragButton() const { return dragButton_; }

    // Values other than 0, 1 and 2 are ignored. Logs and returns true only when the tool
    // changed; setting NavigationNone therefore tells whether a tool had been armed.
    bool setNavigationTool(std::uint32_t tool);
    std::uint32_t navigationTool() const { return tool_; }

    // Locking ends an orbit drag and disarms the orbit tool. Logs when the flag changes.
    OrbitLockChange setOrbitLocked(bool locked);
    bool orbitLocked() const { return orbitLocked_; }

    // Set by the input dispatcher: the cursor is over the visible navigation cube.
    void setCubeHover(bool hover) { cubeHover_ = hover; }
    bool cubeHover() const { return cubeHover_; }

    double orbitSpeed() const { return orbitSpeed_; }
    bool invertVerticalOrbit() const { return invertVerticalOrbit_; }
    Camera& camera() { return camera_; }

private:
    void startDrag(DragMode mode, std::uint32_t button, double x, double y);

    Camera& camera_;
    DragMode dragMode_ = DragNone;
    std::uint32_t dragButton_ = ButtonLeft;
    double lastX_ = 0.0;
    double lastY_ = 0.0;
    double orbitSpeed_ = kOrbitDegreesPerPixel;
    bool invertVerticalOrbit_ = false;
    bool cubeHover_ = false;
    std::uint32_t tool_ = NavigationNone;
    bool orbitLocked_ = false;
};

}  // namespace ovcf
