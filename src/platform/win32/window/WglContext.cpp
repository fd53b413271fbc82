#include "platform/win32/window/WglContext.h"

#include <glad/gl.h>

#include <atomic>
#include <mutex>

#include "platform/GlLoaderOnce.h"

namespace ovcf {
namespace {

// WGL_ARB_create_context, WGL_ARB_pixel_format.
constexpr int kContextMajorVersion = 0x2091;
constexpr int kContextMinorVersion = 0x2092;
constexpr int kContextProfileMask = 0x9126;
constexpr int kContextCoreProfileBit = 0x00000001;
constexpr int kDrawToWindow = 0x2001;
constexpr int kSupportOpenGl = 0x2010;
constexpr int kDoubleBuffer = 0x2011;
constexpr int kPixelType = 0x2013;
constexpr int kTypeRgba = 0x202B;
constexpr int kColorBits = 0x2014;
constexpr int kDepthBits = 0x2022;
constexpr int kStencilBits = 0x2023;

using CreateContextAttribsFunction = HGLRC(WINAPI*)(HDC, HGLRC, const int*);
using ChoosePixelFormatFunction = BOOL(WINAPI*)(HDC, const int*, const FLOAT*, UINT, int*, UINT*);
using SwapIntervalFunction = BOOL(WINAPI*)(int);

// Written once under gBootstrapLock; a view created on another thread reads them after taking
// the lock or after seeing gBootstrapped set.
std::mutex gBootstrapLock;
std::atomic<bool> gBootstrapped{false};
CreateContextAttribsFunction gCreateContextAttribs = nullptr;
ChoosePixelFormatFunction gChoosePixelFormat = nullptr;
SwapIntervalFunction gSwapInterval = nullptr;

PIXELFORMATDESCRIPTOR legacyDescriptor() {
    PIXELFORMATDESCRIPTOR descriptor{};
    descriptor.nSize = sizeof(PIXELFORMATDESCRIPTOR);  // 40
    descriptor.nVersion = 1;
    descriptor.dwFlags = PFD_DRAW_TO_WINDOW | PFD_SUPPORT_OPENGL | PFD_DOUBLEBUFFER;
    descriptor.iPixelType = PFD_TYPE_RGBA;
    descriptor.cColorBits = 32;
    descriptor.cDepthBits = 24;
    return descriptor;
}

template <typename Function>
Function wglFunction(const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(wglGetProcAddress(name)));
}

// wglGetProcAddress answers only for entry points beyond GL 1.1; the rest come from the
// system's GL library, loaded once per process.
GLADapiproc loadGlFunction(void*, const char* name) {
    PROC function = wglGetProcAddress(name);
    const auto value = reinterpret_cast<INT_PTR>(function);
    if (value == 0 || value == 1 || value == 2 || value == 3 || value == -1) {
        static HMODULE openGl = LoadLibraryA("opengl32.dll");
        function = openGl ? GetProcAddress(openGl, name) : nullptr;
    }
    return reinterpret_cast<GLADapiproc>(reinterpret_cast<void*>(function));
}

}  // namespace

HINSTANCE thisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<LPCWSTR>(&thisModule), &module);
    return module;
}

bool bootstrapWgl(std::string& error) {
    if (gBootstrapped.load(std::memory_order_acquire)) return true;
    std::lock_guard<std::mutex> guard(gBootstrapLock);
    if (gBootstrapped.load(std::memory_order_relaxed)) return true;
    HINSTANCE instance = thisModule();
    WNDCLASSW windowClass{};
    windowClass.style = CS_OWNDC;
    windowClass.lpfnWndProc = DefWindowProcW;
    windowClass.hInstance = instance;
    windowClass.lpszClassName = L"OrvanePcBootstrap";
    RegisterClassW(&windowClass);  // already registered by an earlier attempt is fine

    HWND window = CreateWindowExW(0, L"OrvanePcBootstrap", L"", 0, 0, 0, 1, 1, nullptr, nullptr, instance, nullptr);
    // The class is needed only for this one window: gone with it, nothing outlives the module.
    const auto dropClass = [&] { UnregisterClassW(L"OrvanePcBootstrap", instance); };
    if (!window) {
        dropClass();
        error = "cannot create the bootstrap window for OpenGL";
        return false;
    }
    HDC deviceContext = GetDC(window);
    const PIXELFORMATDESCRIPTOR descriptor = legacyDescriptor();
    const int format = ChoosePixelFormat(deviceContext, &descriptor);
    HGLRC legacy = nullptr;
    if (format != 0 && SetPixelFormat(deviceContext, format, &descriptor)) legacy = wglCreateContext(deviceContext);
    if (!legacy || !wglMakeCurrent(deviceContext, legacy)) {
        if (legacy) wglDeleteContext(legacy);
        ReleaseDC(window, deviceContext);
        DestroyWindow(window);
        dropClass();
        error = "cannot create a temporary OpenGL context";
        return false;
    }
    gCreateContextAttribs = wglFunction<CreateContextAttribsFunction>("wglCreateContextAttribsARB");
    gChoosePixelFormat = wglFunction<ChoosePixelFormatFunction>("wglChoosePixelFormatARB");
    gSwapInterval = wglFunction<SwapIntervalFunction>("wglSwapIntervalEXT");
    wglMakeCurrent(nullptr, nullptr);
    wglDeleteContext(legacy);
    ReleaseDC(window, deviceContext);
    DestroyWindow(window);
    dropClass();
    if (!gCreateContextAttribs) {
        error = "the graphics driver does not support modern OpenGL contexts (wglCreateContextAttribsARB is missing): update the video driver";
        return false;
    }
    gBootstrapped.store(true, std::memory_order_release);
    return true;
}

bool setViewPixelFormat(HDC deviceContext, std::string& error) {
    int format = 0;
    if (gChoosePixelFormat) {
        const int attributes[] = {kDrawToWindow, 1, kSupportOpenGl, 1, kDoubleBuffer, 1, kPixelType, kTypeRgba,
                                  kColorBits, 32, kDepthBits, 24, kStencilBits, 0, 0};
        UINT count = 0;
        if (!gChoosePixelFormat(deviceContext, attributes, nullptr, 1, &format, &count) || count == 0) format = 0;
    }
    PIXELFORMATDESCRIPTOR descriptor = legacyDescriptor();
    if (format == 0) format = ChoosePixelFormat(deviceContext, &descriptor);
    if (format == 0 || !DescribePixelFormat(deviceContext, format, sizeof descriptor, &descriptor) ||
        !SetPixelFormat(deviceContext, format, &descriptor)) {
        error = "cannot set a suitable pixel format";
        return false;
    }
    return true;
}

HGLRC createCoreContext(HDC deviceContext, std::string& error) {
    const int attributes[] = {kContextMajorVersion, 4, kContextMinorVersion, 5, kContextProfileMask,
                              kContextCoreProfileBit, 0};
    HGLRC context = gCreateContextAttribs(deviceContext, nullptr, attributes);
    if (!context) {
        error = "the graphics card does not support OpenGL 4.5: update the video driver, or the card is too old for this module";
        return nullptr;
    }
    if (!wglMakeCurrent(deviceContext, context)) {
        wglDeleteContext(context);
        error = "cannot activate the OpenGL context";
        return nullptr;
    }
    if (!loadGlFunctionsOnce(&loadGlFunction)) {
        wglMakeCurrent(nullptr, nullptr);
        wglDeleteContext(context);
        error = "cannot load the OpenGL functions";
        return nullptr;
    }
    if (gSwapInterval) gSwapInterval(1);
    return context;
}

}  // namespace ovcf
