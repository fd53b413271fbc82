#include <windows.h>

#include "HostWindow.h"

namespace {

HostEvent gPending;

LRESULT CALLBACK hostProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
        case WM_CLOSE: gPending.type = HostEvent::Close; return 0;
        case WM_SIZE: gPending.type = HostEvent::Resized; return 0;
        case WM_KEYDOWN:
            gPending.type = HostEvent::Key;
            gPending.key = static_cast<int>(wParam);
            return 0;
        case WM_ERASEBKGND: return 1;
        default: return DefWindowProcW(window, message, wParam, lParam);
    }
}

class Win32HostWindow final : public HostWindow {
public:
    ~Win32HostWindow() override {
        if (window_) DestroyWindow(window_);
    }

    bool open(const char* title, int width, int height) {
        WNDCLASSEXW windowClass{};
        windowClass.cbSize = sizeof windowClass;
        windowClass.lpfnWndProc = hostProcedure;
        windowClass.hInstance = GetModuleHandleW(nullptr);
        windowClass.hCursor = LoadCursor(nullptr, IDC_ARROW);
        windowClass.lpszClassName = L"PcViewDemoHost";
        RegisterClassExW(&windowClass);
        RECT rect{0, 0, width, height};
        AdjustWindowRect(&rect, WS_OVERLAPPEDWINDOW, FALSE);
        wchar_t wideTitle[256];
        MultiByteToWideChar(CP_UTF8, 0, title, -1, wideTitle, 256);
        window_ = CreateWindowExW(0, L"PcViewDemoHost", wideTitle, WS_OVERLAPPEDWINDOW | WS_CLIPCHILDREN,
                                  CW_USEDEFAULT, CW_USEDEFAULT, rect.right - rect.left, rect.bottom - rect.top,
                                  nullptr, nullptr, GetModuleHandleW(nullptr), nullptr);
        if (!window_) return false;
        ShowWindow(window_, SW_SHOW);
        return true;
    }

    PcParentWindow parentHandle() const override { return window_; }

    HostEvent nextEvent(int timeoutMs) override {
        gPending = HostEvent{};
        MSG message;
        if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (timeoutMs == 0) return gPending;
            MsgWaitForMultipleObjects(0, nullptr, FALSE, timeoutMs < 0 ? INFINITE : static_cast<DWORD>(timeoutMs),
                                      QS_ALLINPUT);
            if (!PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) return gPending;
        }
        if (message.message == WM_QUIT) {
            gPending.type = HostEvent::Close;
            return gPending;
        }
        // Keys reach the focused view window; the host reads them on the way.
        if (message.message == WM_KEYDOWN) {
            gPending.type = HostEvent::Key;
            gPending.key = static_cast<int>(message.wParam);
        }
        TranslateMessage(&message);
        DispatchMessageW(&message);
        return gPending;
    }

    void pumpView(PcView) override {}  // the view's window procedure runs inside DispatchMessage

    void watchViewKeys() override {}  // every key message passes through nextEvent

    void sendMouse(MouseAction action, int button, int x, int y) override {
        static const UINT down[] = {WM_LBUTTONDOWN, WM_RBUTTONDOWN, WM_MBUTTONDOWN};
        static const UINT up[] = {WM_LBUTTONUP, WM_RBUTTONUP, WM_MBUTTONUP};
        static const WPARAM held[] = {MK_LBUTTON, MK_RBUTTON, MK_MBUTTON};
        const int b = button < 0 || button > 2 ? 0 : button;
        HWND view = GetWindow(window_, GW_CHILD);
        if (!view) return;
        if (action == MouseMove) SendMessageW(view, WM_MOUSEMOVE, heldButtons_, MAKELPARAM(x, y));
        if (action == MouseDown) {
            heldButtons_ |= held[b];
            SendMessageW(view, down[b], heldButtons_, MAKELPARAM(x, y));
        }
        if (action == MouseUp) {
            heldButtons_ &= ~held[b];
            SendMessageW(view, up[b], heldButtons_, MAKELPARAM(x, y));
        }
    }

    void sendKey(int virtualKey) override {
        if (HWND view = GetWindow(window_, GW_CHILD)) SendMessageW(view, WM_KEYDOWN, static_cast<WPARAM>(virtualKey), 0);
    }

    bool cursorInView(int& x, int& y) override {
        HWND view = GetWindow(window_, GW_CHILD);
        POINT point{};
        if (!view || !GetCursorPos(&point) || !ScreenToClient(view, &point)) return false;
        x = point.x;
        y = point.y;
        return true;
    }

    void resize(int width, int height) override {
        RECT rect{0, 0, width, height};
        AdjustWindowRect(&rect, WS_OVERLAPPEDWINDOW, FALSE);
        SetWindowPos(window_, nullptr, 0, 0, rect.right - rect.left, rect.bottom - rect.top,
                     SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE);
    }

private:
    HWND window_ = nullptr;
    WPARAM heldButtons_ = 0;
};

}  // namespace

std::unique_ptr<HostWindow> HostWindow::create(const char* title, int width, int height) {
    auto window = std::make_unique<Win32HostWindow>();
    if (!window->open(title, width, height)) return nullptr;
    return window;
}
