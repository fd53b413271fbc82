#include <windows.h>

#include <mutex>

#include "ParentWindow.h"

namespace ovcf::harness {
namespace {

class Win32ParentWindow final : public ParentWindow {
public:
    ~Win32ParentWindow() override {
        if (hostContext_) {
            if (wglGetCurrentContext() == hostContext_) wglMakeCurrent(nullptr, nullptr);
            wglDeleteContext(hostContext_);
        }
        if (hostWindow_) DestroyWindow(hostWindow_);
        if (window_) DestroyWindow(window_);
    }

    bool open(int width, int height) {
        // Once for the process: under Wine, a thread whose registration finds the class already
        // there can be refused the class by CreateWindowExW while another thread still registers it.
        static std::once_flag registered;
        std::call_once(registered, [] {
            WNDCLASSW windowClass{};
            windowClass.lpfnWndProc = DefWindowProcW;
            windowClass.hInstance = GetModuleHandleW(nullptr);
            windowClass.lpszClassName = L"OrvaneTestParent";
            RegisterClassW(&windowClass);
        });
        window_ = CreateWindowExW(0, L"OrvaneTestParent", L"test parent", WS_POPUP | WS_CLIPCHILDREN, 0, 0,
                                  100, 100, nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        if (!window_) return false;
        ShowWindow(window_, SW_SHOW);
        resizeClient(width, height);
        return true;
    }

    std::uintptr_t handle() const override { return reinterpret_cast<std::uintptr_t>(window_); }

    void resizeClient(int width, int height) override {
        // A frameless window: its client area is the whole window, and may be empty.
        SetWindowPos(window_, nullptr, 0, 0, width, height,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
        flush();
    }

    int childCount() override {
        int count = 0;
        for (HWND child = FindWindowExW(window_, nullptr, nullptr, nullptr); child;
             child = FindWindowExW(window_, child, nullptr, nullptr))
            ++count;
        return count;
    }

    std::uintptr_t firstChild() override {
        return reinterpret_cast<std::uintptr_t>(FindWindowExW(window_, nullptr, nullptr, nullptr));
    }

    bool windowSize(std::uintptr_t window, int& width, int& height) override {
        RECT rect{};
        if (!GetClientRect(reinterpret_cast<HWND>(window), &rect)) return false;
        width = rect.right - rect.left;
        height = rect.bottom - rect.top;
        return true;
    }

    bool windowExists(std::uintptr_t window) override { return IsWindow(reinterpret_cast<HWND>(window)) != FALSE; }

    void sendButton(std::uintptr_t child, int button, bool down, int x, int y) override {
        static const UINT downMessages[] = {WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONDOWN};
        static const UINT upMessages[] = {WM_LBUTTONUP, WM_RBUTTONUP, WM_MBUTTONUP};
        SendMessageW(reinterpret_cast<HWND>(child), down ? downMessages[button] : upMessages[button], 0,
                     MAKELPARAM(x, y));
    }

    void sendMove(std::uintptr_t child, int x, int y) override {
        SendMessageW(reinterpret_cast<HWND>(child), WM_MOUSEMOVE, 0, MAKELPARAM(x, y));
    }

    void sendLeave(std::uintptr_t child) override { SendMessageW(reinterpret_cast<HWND>(child), WM_MOUSELEAVE, 0, 0); }

    void sendWheel(std::uintptr_t child, int delta120, int x, int y) override {
        // The wheel message carries screen coordinates.
        POINT point{x, y};
        ClientToScreen(reinterpret_cast<HWND>(child), &point);
        SendMessageW(reinterpret_cast<HWND>(child), WM_MOUSEWHEEL, MAKEWPARAM(0, static_cast<short>(delta120)),
                     MAKELPARAM(point.x, point.y));
    }

    void sendKey(std::uintptr_t child, int virtualKey) override {
        SendMessageW(reinterpret_cast<HWND>(child), WM_KEYDOWN, static_cast<WPARAM>(virtualKey), 0);
    }

    void sendSize(std::uintptr_t child, int width, int height) override {
        SendMessageW(reinterpret_cast<HWND>(child), WM_SIZE, SIZE_RESTORED, MAKELPARAM(width, height));
    }

    void flush() override {
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
    }

    void takeCaptureAway(std::uintptr_t) override { SetCapture(window_); }

    void cancelMode(std::uintptr_t child) override { SendMessageW(reinterpret_cast<HWND>(child), WM_CANCELMODE, 0, 0); }

    void destroyWindow() override {
        if (window_) DestroyWindow(window_);
        window_ = nullptr;
        flush();
    }

    bool makeHostGlCurrent() override {
        if (!hostContext_) {
            hostWindow_ = CreateWindowExW(0, L"OrvaneTestParent", L"host gl", WS_POPUP, 0, 0, 16, 16, nullptr, nullptr,
                                          GetModuleHandleW(nullptr), nullptr);
            if (!hostWindow_) return false;
            hostDc_ = GetDC(hostWindow_);
            PIXELFORMATDESCRIPTOR descriptor{};
            descriptor.nSize = sizeof descriptor;
            descriptor.nVersion = 1;
            descriptor.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
            descriptor.iPixelType = PFD_TYPE_RGBA;
            descriptor.cColorBits = 32;
            const int format = ChoosePixelFormat(hostDc_, &descriptor);
            if (!format || !SetPixelFormat(hostDc_, format, &descriptor)) return false;
            hostContext_ = wglCreateContext(hostDc_);
            if (!hostContext_) return false;
        }
        return wglMakeCurrent(hostDc_, hostContext_) != FALSE;
    }

    bool hostGlIsCurrent() override {
        return hostContext_ && wglGetCurrentContext() == hostContext_ && wglGetCurrentDC() == hostDc_;
    }

private:
    HWND window_ = nullptr;
    HWND hostWindow_ = nullptr;
    HDC hostDc_ = nullptr;
    HGLRC hostContext_ = nullptr;
};

}  // namespace

std::unique_ptr<ParentWindow> ParentWindow::create(int clientWidth, int clientHeight) {
    auto window = std::make_unique<Win32ParentWindow>();
    if (!window->open(clientWidth, clientHeight)) return nullptr;
    return window;
}

std::uintptr_t invalidWindowHandle() { return 0x7FFFFFF0u; }

}  // namespace ovcf::harness
