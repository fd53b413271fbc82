// The demo host's own top-level window, one implementation per window system.
#pragma once

#include <memory>

#include "OrvanePC.h"

struct HostEvent {
    enum Type { NoEvent, Close, Resized, Key, Repaint } type = NoEvent;
    int key = 0;  // Windows virtual-key numbering ('A'..'Z', '0'..'9', 27 Escape)
};

class HostWindow {
public:
    virtual ~HostWindow() = default;
    static std::unique_ptr<HostWindow> create(const char* title, int width, int height);

    virtual PcParentWindow parentHandle() const = 0;
    // Waits for the next event of the host window (timeoutMs < 0: block; 0: poll).
    virtual HostEvent nextEvent(int timeoutMs) = 0;
    // Lets the module dispatch its view window's own events (X11: the view has no window procedure).
    virtual void pumpView(PcView view) = 0;
    virtual void resize(int width, int height) = 0;
    // The view takes the keyboard focus when clicked: let the host see key presses there too.
    virtual void watchViewKeys() = 0;

    // Input as the window system delivers a user's, sent to the view's own window (positions in
    // its client pixels; button 0 left, 1 right, 2 middle). The view handles it on the next pump.
    enum MouseAction { MouseMove, MouseDown, MouseUp };
    virtual void sendMouse(MouseAction action, int button, int x, int y) = 0;
    virtual void sendKey(int virtualKey) = 0;
    // Where the mouse is, in the view's client pixels; false when that cannot be told.
    virtual bool cursorInView(int& x, int& y) = 0;
};
