// The view's child window with its OpenGL 4.5 core context, one implementation per window
// system. Everything here runs on the host's UI thread; no call changes GL state beyond making
// the context current.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace ovcf {

enum InputEventType : std::int32_t {
    InputButtonDown = 0,
    InputButtonUp = 1,
    InputPointerMove = 2,
    InputPointerLeft = 3,
    InputWheel = 4,
    InputKeyDown = 5,
    InputSizeChanged = 6,
};

enum InputButton : std::int32_t { ButtonLeft = 0, ButtonRight = 1, ButtonMiddle = 2 };

// Virtual-key codes of the keys the view reacts to (Windows numbering on every platform).
enum VirtualKey : std::int32_t { KeyBackspace = 8, KeyTab = 9, KeyEnter = 13, KeyEscape = 27, KeySpace = 32 };

// One input message, valid only during the sink call.
struct InputEvent {
    std::int32_t type = 0;
    std::int32_t button = 0;
    double x = 0.0;  // client pixels, origin top left
    double y = 0.0;
    double wheel = 0.0;  // notches, positive away from the user
    std::int32_t key = 0;
    std::uint8_t alt = 0;
    std::uint8_t ctrl = 0;
    std::uint8_t shift = 0;
};

using InputSink = void (*)(const InputEvent& event, void* context);

// The host's parent window: an HWND or an X11 Window id, carried as an integer.
using NativeWindow = std::uintptr_t;

class ViewWindow {
public:
    virtual ~ViewWindow() = default;

    // Creates the child window filling the parent's client area and a current 4.5 core context
    // with the GL functions loaded; null with the reason in `error` (nothing left behind).
    static std::unique_ptr<ViewWindow> create(NativeWindow parent, std::string& error);

    // Releases context, device context and window; safe to call twice.
    virtual void destroy() = 0;
    virtual bool makeCurrent() = 0;
    // Resizes the child window to the parent's client area; true when the size changed.
    virtual bool followParentSize() = 0;
    virtual void present() = 0;

    virtual int width() const = 0;
    virtual int height() const = 0;
    virtual NativeWindow childWindow() const = 0;

    virtual void setInputSink(InputSink sink, void* context) = 0;
    // Dispatches queued window-system events to the sink (X11); 0 where a window procedure does.
    virtual int processPendingEvents() = 0;
    // The arrow or the wait cursor over the child window.
    virtual void setWaitCursor(bool waiting) = 0;
};

}  // namespace ovcf
