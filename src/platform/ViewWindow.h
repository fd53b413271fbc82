// The view's child window with its OpenGL 4.5 core context, one implementation per window
// system. Everything here runs on the host's UI thread; no call changes GL state beyond making
// the context current.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/InputEvent.h"

namespace ovcf {

using InputSink = void (*)(const InputEvent& event, void* context);

// While one lives, window-system errors raised by the view's own calls are absorbed instead of
// ending the process (X11, where the host may destroy the parent, and the child with it, at any
// time). Nothing on Windows, where a call on a dead window only fails.
class WindowErrorScope {
public:
    virtual ~WindowErrorScope() = default;
};

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
    // Makes the view's context current on this thread; false when the window or context is gone
    // or the platform refuses.
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
    // Null where there is nothing to absorb.
    virtual std::unique_ptr<WindowErrorScope> trapErrors() { return nullptr; }
};

}  // namespace ovcf
