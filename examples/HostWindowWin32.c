/* The example's window on Windows: a plain top-level window; the view's child window gets its
 * messages through the same message loop. */
#include <windows.h>

#include "HostWindow.h"

static HWND window;

static LRESULT CALLBACK hostProcedure(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    return DefWindowProcW(hwnd, message, wParam, lParam);
}

int hostWindowOpen(int width, int height, PcParentWindow* out) {
    WNDCLASSW windowClass;
    RECT area;
    ZeroMemory(&windowClass, sizeof windowClass);
    windowClass.lpfnWndProc = hostProcedure;
    windowClass.hInstance = GetModuleHandleW(NULL);
    windowClass.lpszClassName = L"OrvanePcExampleHost";
    windowClass.hCursor = LoadCursorW(NULL, (LPCWSTR)IDC_ARROW);
    if (!RegisterClassW(&windowClass)) return 0;
    area.left = 0;
    area.top = 0;
    area.right = width;
    area.bottom = height;
    AdjustWindowRect(&area, WS_OVERLAPPEDWINDOW, FALSE);
    window = CreateWindowW(L"OrvanePcExampleHost", L"OrvanePC example host", WS_OVERLAPPEDWINDOW | WS_VISIBLE, 0, 0,
                           area.right - area.left, area.bottom - area.top, NULL, NULL, windowClass.hInstance, NULL);
    if (!window) return 0;
    *out = window;
    return 1;
}

void hostWindowPump(PcView view) {
    MSG message;
    (void)view;
    while (PeekMessageW(&message, NULL, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void hostWindowClose(void) {
    if (window) DestroyWindow(window);
    window = NULL;
}
