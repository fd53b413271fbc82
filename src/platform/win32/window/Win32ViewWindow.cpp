// The view's child window under Win32: window class, window procedure turning messages into
// input events, following the parent's client size, presenting.
#include <windows.h>
#include <windowsx.h>

#include <mutex>

#include "platform/ViewWindow.h"
#include "platform/win32/window/WglContext.h"

namespace ovcf {
namespace {

class Win32ViewWindow;
LRESULT CALLBACK viewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

// The view class belongs to this module, not to the process: registered under the module's own
// handle while views exist and unregistered with the last one and when the module unloads, so a
// library loaded again never finds a class whose window procedure went with the old copy.
class ViewClassRegistration {
public:
    ~ViewClassRegistration() {
        std::lock_guard<std::mutex> guard(lock_);
        unregister();
    }

    bool acquire() {
        std::lock_guard<std::mutex> guard(lock_);
        if (!registered_) {
            WNDCLASSW windowClass{};
            windowClass.style = CS_OWNDC;
            windowClass.lpfnWndProc = viewProcedure;
            windowClass.hInstance = thisModule();
            windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
            windowClass.lpszClassName = L"OrvanePcView";
            if (!RegisterClassW(&windowClass)) return false;
            registered_ = true;
        }
        ++users_;
        return true;
    }

    void release() {
        std::lock_guard<std::mutex> guard(lock_);
        if (users_ > 0 && --users_ == 0) unregister();
    }

private:
    void unregister() {
        if (registered_ && UnregisterClassW(L"OrvanePcView", thisModule())) registered_ = false;
    }

    std::mutex lock_;
    bool registered_ = false;
    int users_ = 0;
};

ViewClassRegistration gViewClass;

void readClientSize(HWND window, int& width, int& height) {
    RECT rect{};
    GetClientRect(window, &rect);
    width = rect.right - rect.left < 1 ? 1 : rect.right - rect.left;
    height = rect.bottom - rect.top < 1 ? 1 : rect.bottom - rect.top;
}

class Win32ViewWindow final : public ViewWindow {
public:
    ~Win32ViewWindow() override { destroy(); }

    bool create(HWND parent, std::string& error) {
        parent_ = parent;
        if (!parent || !IsWindow(parent)) {
            error = "the parent window handle is not valid";
            return false;
        }
        if (!bootstrapWgl(error)) return false;
        HINSTANCE instance = thisModule();
        if (!gViewClass.acquire()) {
            error = "cannot register the window class";
            return false;
        }
        holdsClass_ = true;
        readClientSize(parent, width_, height_);
        HWND window = CreateWindowExW(0, L"OrvanePcView", L"", WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS | WS_CLIPCHILDREN,
                                      0, 0, width_, height_, parent, nullptr, instance, this);
        if (!window) {
            error = "cannot create the child window (Windows error " + std::to_string(GetLastError()) + ")";
            return false;
        }
        deviceContext_ = GetDC(window_);
        if (!setViewPixelFormat(deviceContext_, error)) return false;
        context_ = createCoreContext(deviceContext_, error);
        return context_ != nullptr;
    }

    void destroy() override {
        if (context_) {
            // Only our own context is let go; whatever else is current stays so.
            if (wglGetCurrentContext() == context_) wglMakeCurrent(nullptr, nullptr);
            wglDeleteContext(context_);
            context_ = nullptr;
        }
        if (deviceContext_ && window_ && !windowGone_) ReleaseDC(window_, deviceContext_);
        deviceContext_ = nullptr;
        if (window_ && !windowGone_) {
            // Nothing must reach this object once it is gone.
            SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
            DestroyWindow(window_);
        }
        window_ = nullptr;
        if (holdsClass_) gViewClass.release();
        holdsClass_ = false;
    }

    bool makeCurrent() override {
        if (!deviceContext_ || !context_ || windowGone_) return false;
        return wglMakeCurrent(deviceContext_, context_) != FALSE;
    }

    bool followParentSize() override {
        if (!window_ || windowGone_ || !parent_ || !IsWindow(parent_)) return false;
        int width = 0;
        int height = 0;
        readClientSize(parent_, width, height);
        if (width == width_ && height == height_) return false;
        width_ = width;
        height_ = height;
        SetWindowPos(window_, nullptr, 0, 0, width, height, SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
        return true;
    }

    void present() override {
        if (deviceContext_ && !windowGone_) SwapBuffers(deviceContext_);
    }

    int width() const override { return width_; }
    int height() const override { return height_; }
    NativeWindow childWindow() const override { return reinterpret_cast<NativeWindow>(window_); }

    void setInputSink(InputSink sink, void* context) override {
        sink_ = sink;
        sinkContext_ = context;
    }

    int processPendingEvents() override { return 0; }

    void setWaitCursor(bool waiting) override { SetCursor(LoadCursor(nullptr, waiting ? IDC_WAIT : IDC_ARROW)); }

    LRESULT handle(UINT message, WPARAM wParam, LPARAM lParam) {
        InputEvent event;
        event.alt = (GetKeyState(VK_MENU) & 0x8000) ? 1 : 0;
        event.ctrl = (GetKeyState(VK_CONTROL) & 0x8000) ? 1 : 0;
        event.shift = (GetKeyState(VK_SHIFT) & 0x8000) ? 1 : 0;
        event.x = GET_X_LPARAM(lParam);
        event.y = GET_Y_LPARAM(lParam);
        switch (message) {
            case WM_LBUTTONDOWN: return buttonDown(event, ButtonLeft);
            case WM_RBUTTONDOWN: return buttonDown(event, ButtonRight);
            case WM_MBUTTONDOWN: return buttonDown(event, ButtonMiddle);
            case WM_LBUTTONUP: return buttonUp(event, ButtonLeft);
            case WM_RBUTTONUP: return buttonUp(event, ButtonRight);
            case WM_MBUTTONUP: return buttonUp(event, ButtonMiddle);
            case WM_MOUSEMOVE:
                if (!trackingLeave_) {
                    TRACKMOUSEEVENT track{sizeof(TRACKMOUSEEVENT), TME_LEAVE, window_, 0};
                    if (TrackMouseEvent(&track)) trackingLeave_ = true;
                }
                event.type = InputPointerMove;
                return deliver(event);
            case WM_MOUSELEAVE:
                trackingLeave_ = false;
                event.type = InputPointerLeft;
                return deliver(event);
            case WM_MOUSEWHEEL: {
                POINT point{GET_X_LPARAM(lParam), GET_Y_LPARAM(lParam)};
                ScreenToClient(window_, &point);
                event.x = point.x;
                event.y = point.y;
                event.type = InputWheel;
                event.wheel = GET_WHEEL_DELTA_WPARAM(wParam) / 120.0;
                return deliver(event);
            }
            case WM_KEYDOWN:
                event.type = InputKeyDown;
                event.key = static_cast<std::int32_t>(wParam);
                return deliver(event);
            case WM_SIZE:
                width_ = LOWORD(lParam) < 1 ? 1 : LOWORD(lParam);
                height_ = HIWORD(lParam) < 1 ? 1 : HIWORD(lParam);
                event.type = InputSizeChanged;
                event.x = width_;
                event.y = height_;
                return deliver(event);
            case WM_PAINT: {
                // Frames are drawn by PC_Render only.
                PAINTSTRUCT paint;
                BeginPaint(window_, &paint);
                EndPaint(window_, &paint);
                return 0;
            }
            case WM_ERASEBKGND: return 1;
            case WM_CAPTURECHANGED:
                // Our own release at a button-up is no loss; anyone else taking the pointer is.
                if (releasingCapture_ || reinterpret_cast<HWND>(lParam) == window_) return 0;
                event.type = InputCaptureLost;
                return deliver(event);
            case WM_CANCELMODE: {
                // A dialog or menu took over: the capture goes and drags end. The default
                // procedure runs first: nothing of this object is touched after the sink.
                releasingCapture_ = true;
                const LRESULT result = DefWindowProcW(window_, message, wParam, lParam);
                if (GetCapture() == window_) ReleaseCapture();
                releasingCapture_ = false;
                event.type = InputCaptureLost;
                deliver(event);
                return result;
            }
            case WM_NCDESTROY:
                // The host destroyed the parent, and this window with it: nothing here may touch
                // the window, its device context or this object through the window any more.
                SetWindowLongPtrW(window_, GWLP_USERDATA, 0);
                windowGone_ = true;
                return DefWindowProcW(window_, message, wParam, lParam);
            default: return DefWindowProcW(window_, message, wParam, lParam);
        }
    }

    void attach(HWND window) { window_ = window; }

private:
    LRESULT buttonDown(InputEvent& event, InputButton button) {
        SetCapture(window_);
        SetFocus(window_);
        event.type = InputButtonDown;
        event.button = button;
        return deliver(event);
    }

    LRESULT buttonUp(InputEvent& event, InputButton button) {
        releasingCapture_ = true;
        ReleaseCapture();
        releasingCapture_ = false;
        event.type = InputButtonUp;
        event.button = button;
        return deliver(event);
    }

    LRESULT deliver(const InputEvent& event) {
        if (sink_) sink_(event, sinkContext_);
        return 0;
    }

    HWND parent_ = nullptr;
    HWND window_ = nullptr;
    HDC deviceContext_ = nullptr;
    HGLRC context_ = nullptr;
    int width_ = 1;
    int height_ = 1;
    bool trackingLeave_ = false;
    bool releasingCapture_ = false;
    bool windowGone_ = false;  // destroyed with the host's parent
    bool holdsClass_ = false;
    InputSink sink_ = nullptr;
    void* sinkContext_ = nullptr;
};

LRESULT CALLBACK viewProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_NCCREATE) {
        // The creation message carries the window part; later messages find it in the user data.
        auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
        auto* part = static_cast<Win32ViewWindow*>(create->lpCreateParams);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(part));
        if (part) part->attach(window);
        return DefWindowProcW(window, message, wParam, lParam);
    }
    auto* part = reinterpret_cast<Win32ViewWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (!part) return DefWindowProcW(window, message, wParam, lParam);
    return part->handle(message, wParam, lParam);
}

}  // namespace

std::unique_ptr<ViewWindow> ViewWindow::create(NativeWindow parent, std::string& error) {
    auto window = std::make_unique<Win32ViewWindow>();
    if (!window->create(reinterpret_cast<HWND>(parent), error)) {
        window->destroy();
        return nullptr;
    }
    return window;
}

}  // namespace ovcf
