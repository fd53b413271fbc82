// The view's child window under X11. The module keeps its own display connection per view;
// the parent may belong to any client of the same server.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/cursorfont.h>

#include <glad/gl.h>

#include <GL/glx.h>

#include "platform/ViewWindow.h"
#include "platform/x11/GlxContext.h"
#include "platform/x11/X11ErrorTrap.h"
#include "platform/x11/X11InputTranslation.h"

namespace ovcf {
namespace {

constexpr long kChildEventMask = ButtonPressMask | ButtonReleaseMask | PointerMotionMask | LeaveWindowMask |
                                 KeyPressMask | StructureNotifyMask | ExposureMask | FocusChangeMask;

bool readClientSize(Display* display, Window window, int& width, int& height) {
    XWindowAttributes attributes;
    X11ErrorTrap trap(display);
    const Status ok = XGetWindowAttributes(display, window, &attributes);
    if (!ok || trap.failed()) return false;
    width = attributes.width < 1 ? 1 : attributes.width;
    height = attributes.height < 1 ? 1 : attributes.height;
    return true;
}

class X11ErrorScope final : public WindowErrorScope {
public:
    explicit X11ErrorScope(Display* display) : trap_(display) {}

private:
    X11ErrorTrap trap_;
};

class X11ViewWindow final : public ViewWindow {
public:
    ~X11ViewWindow() override { destroy(); }

    bool create(NativeWindow parentHandle, std::string& error) {
        // Loading and setting up the GL driver is not safe on two threads at once: views made or
        // destroyed on several UI threads take turns.
        const std::lock_guard<std::recursive_mutex> turn(glxSetupLock());
        parent_ = static_cast<Window>(parentHandle);
        display_ = XOpenDisplay(nullptr);
        if (!display_) {
            error = "cannot connect to the X display";
            return false;
        }
        XWindowAttributes parentAttributes;
        bool parentValid = parent_ != 0;
        if (parentValid) {
            X11ErrorTrap trap(display_);
            parentValid = XGetWindowAttributes(display_, parent_, &parentAttributes) && !trap.failed();
        }
        if (!parentValid) {
            error = "the parent window handle is not valid";
            return false;
        }
        const int screen = XScreenNumberOfScreen(parentAttributes.screen);
        GLXFBConfig config = nullptr;
        XVisualInfo visual;
        if (!chooseFramebufferConfig(display_, screen, config, visual)) {
            error = "cannot set a suitable pixel format";
            return false;
        }
        width_ = parentAttributes.width < 1 ? 1 : parentAttributes.width;
        height_ = parentAttributes.height < 1 ? 1 : parentAttributes.height;

        colormap_ = XCreateColormap(display_, parentAttributes.root, visual.visual, AllocNone);
        XSetWindowAttributes attributes{};
        attributes.colormap = colormap_;
        attributes.event_mask = kChildEventMask;
        attributes.border_pixel = 0;
        attributes.background_pixmap = None;  // nothing is erased: every frame is drawn whole
        {
            X11ErrorTrap trap(display_);
            window_ = XCreateWindow(display_, parent_, 0, 0, static_cast<unsigned>(width_),
                                    static_cast<unsigned>(height_), 0, visual.depth, InputOutput, visual.visual,
                                    CWColormap | CWEventMask | CWBorderPixel | CWBackPixmap, &attributes);
            if (trap.failed()) {
                error = "cannot create the child window (X error " + std::to_string(trap.errorCode()) + ")";
                if (window_) XDestroyWindow(display_, window_);
                window_ = 0;
                return false;
            }
        }
        XMapWindow(display_, window_);
        XSync(display_, False);
        context_ = createCoreContext(display_, window_, config, error);
        return context_ != nullptr;
    }

    void destroy() override {
        if (!display_) return;
        // Loading and setting up the GL driver is not safe on two threads at once: views made or
        // destroyed on several UI threads take turns.
        const std::lock_guard<std::recursive_mutex> turn(glxSetupLock());
        {
            X11ErrorTrap trap(display_);
            destroyContext(display_, context_);
            context_ = nullptr;
            // The parent may already be gone, taking the child with it: the trap absorbs that.
            if (window_) XDestroyWindow(display_, window_);
            window_ = 0;
            if (waitCursor_) XFreeCursor(display_, waitCursor_);
            waitCursor_ = 0;
            if (colormap_) XFreeColormap(display_, colormap_);
            colormap_ = 0;
        }
        XCloseDisplay(display_);
        display_ = nullptr;
    }

    bool makeCurrent() override {
        if (!display_ || !window_ || !context_ || lost_) return false;
        X11ErrorTrap trap(display_);
        // Asking for the window first finds it gone before GLX draws into a dead drawable.
        XWindowAttributes attributes;
        if (!XGetWindowAttributes(display_, window_, &attributes) || trap.failed()) {
            lost_ = true;
            return false;
        }
        const bool current = glXMakeCurrent(display_, window_, context_) == True;
        if (trap.failed()) {
            lost_ = true;
            return false;
        }
        return current;
    }

    bool followParentSize() override {
        if (!display_ || !window_ || !parent_) return false;
        int width = 0;
        int height = 0;
        if (lost_ || !readClientSize(display_, parent_, width, height)) return false;
        if (width == width_ && height == height_) return false;
        width_ = width;
        height_ = height;
        X11ErrorTrap trap(display_);
        XResizeWindow(display_, window_, static_cast<unsigned>(width), static_cast<unsigned>(height));
        XSync(display_, False);
        return true;
    }

    void present() override {
        if (!display_ || !window_ || !context_ || lost_) return;
        X11ErrorTrap trap(display_);
        glXSwapBuffers(display_, window_);
        if (trap.failed()) lost_ = true;
    }

    int width() const override { return width_; }
    int height() const override { return height_; }
    NativeWindow childWindow() const override { return static_cast<NativeWindow>(window_); }

    void setInputSink(InputSink sink, void* context) override {
        sink_ = sink;
        sinkContext_ = context;
    }

    std::unique_ptr<WindowErrorScope> trapErrors() override {
        if (!display_) return nullptr;
        return std::make_unique<X11ErrorScope>(display_);
    }

    int processPendingEvents() override {
        if (!display_) return 0;
        int handled = 0;
        while (display_ && XPending(display_) > 0) {
            XEvent event;
            XNextEvent(display_, &event);
            if (event.xany.window != window_) continue;
            InputEvent input;
            if (!translateX11Event(event, input)) continue;
            onEvent(event, input);
            if (sink_) sink_(input, sinkContext_);
            ++handled;
        }
        return handled;
    }

    void setWaitCursor(bool waiting) override {
        if (!display_ || !window_ || lost_) return;
        X11ErrorTrap trap(display_);
        if (waiting) {
            if (!waitCursor_) waitCursor_ = XCreateFontCursor(display_, XC_watch);
            XDefineCursor(display_, window_, waitCursor_);
        } else {
            XUndefineCursor(display_, window_);
        }
        XFlush(display_);
    }

private:
    void onEvent(const XEvent& event, const InputEvent& input) {
        switch (input.type) {
            case InputButtonDown: {
                // Keyboard focus follows a press, as a Windows child window takes it.
                X11ErrorTrap trap(display_);
                XSetInputFocus(display_, window_, RevertToParent, event.xbutton.time);
                break;
            }
            case InputPointerMove: trackingLeave_ = true; break;
            case InputPointerLeft: trackingLeave_ = false; break;
            case InputSizeChanged:
                width_ = static_cast<int>(input.x);
                height_ = static_cast<int>(input.y);
                break;
            default: break;
        }
    }

    Display* display_ = nullptr;
    Window parent_ = 0;
    Window window_ = 0;
    Colormap colormap_ = 0;
    Cursor waitCursor_ = 0;
    GLXContext context_ = nullptr;
    int width_ = 1;
    int height_ = 1;
    bool trackingLeave_ = false;
    bool lost_ = false;  // the window was found destroyed (with the host's parent)
    InputSink sink_ = nullptr;
    void* sinkContext_ = nullptr;
};

}  // namespace

std::unique_ptr<ViewWindow> ViewWindow::create(NativeWindow parent, std::string& error) {
    auto window = std::make_unique<X11ViewWindow>();
    if (!window->create(parent, error)) {
        window->destroy();
        return nullptr;
    }
    return window;
}

}  // namespace ovcf
