// A real top-level window for tests and benchmarks to embed views in, and the window-system
// messages a user would cause, sent straight to a view's child window.
#pragma once

#include <cstdint>
#include <memory>

namespace ovcf::harness {

class ParentWindow {
public:
    virtual ~ParentWindow() = default;
    // Null when no display is available.
    static std::unique_ptr<ParentWindow> create(int clientWidth, int clientHeight);

    virtual std::uintptr_t handle() const = 0;
    virtual void resizeClient(int width, int height) = 0;
    // Child windows of this window that still exist.
    virtual int childCount() = 0;
    // The first child window, 0 when there is none.
    virtual std::uintptr_t firstChild() = 0;
    // The client size of another window (the view's child).
    virtual bool windowSize(std::uintptr_t window, int& width, int& height) = 0;
    virtual bool windowExists(std::uintptr_t window) = 0;

    // Input as the window system would deliver it to `child`; positions in client pixels.
    virtual void sendButton(std::uintptr_t child, int button, bool down, int x, int y) = 0;
    virtual void sendMove(std::uintptr_t child, int x, int y) = 0;
    virtual void sendLeave(std::uintptr_t child) = 0;
    virtual void sendWheel(std::uintptr_t child, int delta120, int x, int y) = 0;
    virtual void sendKey(std::uintptr_t child, int virtualKey) = 0;
    virtual void sendSize(std::uintptr_t child, int width, int height) = 0;
    // Lets queued messages arrive (a no-op where sending is synchronous).
    virtual void flush() = 0;

    // The window system takes a gesture away from `child`: another window takes the pointer
    // capture (Windows) or the keyboard focus (X11) for real.
    virtual void takeCaptureAway(std::uintptr_t child) = 0;
    // A system-wide cancel (WM_CANCELMODE) or another client's pointer grab (X11).
    virtual void cancelMode(std::uintptr_t child) = 0;

    // Destroys the window (and with it the children) as a host closing it would.
    virtual void destroyWindow() = 0;

    // A GL context of the test's own, as a host that draws with GL has: made current on this
    // thread, and whether it still is.
    virtual bool makeHostGlCurrent() = 0;
    virtual bool hostGlIsCurrent() = 0;
};

// A handle that names no window.
std::uintptr_t invalidWindowHandle();

}  // namespace ovcf::harness
