#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>
#include <poll.h>

#include "HostWindow.h"

namespace {

class X11HostWindow final : public HostWindow {
public:
    ~X11HostWindow() override {
        if (display_) {
            XDestroyWindow(display_, window_);
            XCloseDisplay(display_);
        }
    }

    bool open(const char* title, int width, int height) {
        display_ = XOpenDisplay(nullptr);
        if (!display_) return false;
        const int screen = DefaultScreen(display_);
        window_ = XCreateSimpleWindow(display_, RootWindow(display_, screen), 0, 0, static_cast<unsigned>(width),
                                      static_cast<unsigned>(height), 0, BlackPixel(display_, screen),
                                      BlackPixel(display_, screen));
        XStoreName(display_, window_, title);
        XSelectInput(display_, window_, StructureNotifyMask | KeyPressMask | ExposureMask);
        deleteMessage_ = XInternAtom(display_, "WM_DELETE_WINDOW", False);
        XSetWMProtocols(display_, window_, &deleteMessage_, 1);
        XMapWindow(display_, window_);
        XSync(display_, False);
        return true;
    }

    PcParentWindow parentHandle() const override { return window_; }

    HostEvent nextEvent(int timeoutMs) override {
        HostEvent result;
        if (XPending(display_) == 0) {
            if (timeoutMs == 0) return result;
            pollfd fd{ConnectionNumber(display_), POLLIN, 0};
            if (poll(&fd, 1, timeoutMs) <= 0) return result;
            if (XPending(display_) == 0) return result;
        }
        XEvent event;
        XNextEvent(display_, &event);
        switch (event.type) {
            case ConfigureNotify: result.type = HostEvent::Resized; break;
            case Expose: result.type = HostEvent::Repaint; break;
            case ClientMessage:
                if (static_cast<Atom>(event.xclient.data.l[0]) == deleteMessage_) result.type = HostEvent::Close;
                break;
            case KeyPress: {
                const KeySym sym = XLookupKeysym(&event.xkey, 0);
                result.type = HostEvent::Key;
                if (sym >= XK_a && sym <= XK_z) result.key = static_cast<int>('A' + (sym - XK_a));
                else if (sym >= XK_0 && sym <= XK_9) result.key = static_cast<int>('0' + (sym - XK_0));
                else if (sym == XK_Escape) result.key = 27;
                else if (sym == XK_Delete || sym == XK_KP_Delete) result.key = 0x2E;
                else if (sym == XK_plus || sym == XK_KP_Add) result.key = 0x6B;
                else if (sym == XK_minus || sym == XK_KP_Subtract) result.key = 0x6D;
                else if (sym >= XK_F1 && sym <= XK_F12) result.key = static_cast<int>(0x70 + (sym - XK_F1));
                break;
            }
            default: break;
        }
        return result;
    }

    void pumpView(PcView view) override { PC_X11ProcessEvents(view); }

    void watchViewKeys() override {
        // Several clients may listen for key presses on one window: the view keeps its own.
        Window root = 0;
        Window parent = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (!XQueryTree(display_, window_, &root, &parent, &children, &count)) return;
        for (unsigned i = 0; i < count; ++i) XSelectInput(display_, children[i], KeyPressMask);
        if (children) XFree(children);
        XSync(display_, False);
    }

    void sendMouse(MouseAction action, int button, int x, int y) override {
        XEvent event{};
        long mask = PointerMotionMask;
        if (action == MouseMove) {
            event.xmotion.type = MotionNotify;
            event.xmotion.x = x;
            event.xmotion.y = y;
        } else {
            static const unsigned buttons[] = {Button1, Button3, Button2};
            event.xbutton.type = action == MouseDown ? ButtonPress : ButtonRelease;
            event.xbutton.button = buttons[button < 0 || button > 2 ? 0 : button];
            event.xbutton.x = x;
            event.xbutton.y = y;
            mask = action == MouseDown ? ButtonPressMask : ButtonReleaseMask;
        }
        sendToView(event, mask);
    }

    void sendKey(int virtualKey) override {
        KeySym sym = NoSymbol;
        if (virtualKey == 27) sym = XK_Escape;
        else if (virtualKey == 13) sym = XK_Return;
        else if (virtualKey == 0x2E) sym = XK_Delete;
        else if (virtualKey >= 'A' && virtualKey <= 'Z') sym = XK_a + (virtualKey - 'A');
        else if (virtualKey >= 0x70 && virtualKey <= 0x7B) sym = XK_F1 + (virtualKey - 0x70);
        XEvent event{};
        event.xkey.type = KeyPress;
        event.xkey.keycode = XKeysymToKeycode(display_, sym);
        sendToView(event, KeyPressMask);
    }

    bool cursorInView(int& x, int& y) override {
        const Window view = viewWindow();
        Window root = 0, child = 0;
        int rootX = 0, rootY = 0;
        unsigned mask = 0;
        return view && XQueryPointer(display_, view, &root, &child, &rootX, &rootY, &x, &y, &mask);
    }

    void resize(int width, int height) override {
        XResizeWindow(display_, window_, static_cast<unsigned>(width), static_cast<unsigned>(height));
        XSync(display_, False);
    }

private:
    Window viewWindow() {
        Window root = 0, parent = 0, child = 0;
        Window* children = nullptr;
        unsigned count = 0;
        if (XQueryTree(display_, window_, &root, &parent, &children, &count) && count > 0) child = children[0];
        if (children) XFree(children);
        return child;
    }

    void sendToView(XEvent& event, long mask) {
        const Window view = viewWindow();
        if (!view) return;
        event.xany.window = view;
        event.xany.display = display_;
        event.xany.send_event = True;
        XSendEvent(display_, view, False, mask, &event);
        XSync(display_, False);
    }

    Display* display_ = nullptr;
    Window window_ = 0;
    Atom deleteMessage_ = 0;
};

}  // namespace

std::unique_ptr<HostWindow> HostWindow::create(const char* title, int width, int height) {
    auto window = std::make_unique<X11HostWindow>();
    if (!window->open(title, width, height)) return nullptr;
    return window;
}
