#include "platform/x11/GlxContext.h"

#include <glad/gl.h>

#include <GL/glx.h>

#include <cstring>

#include "platform/GlLoaderOnce.h"
#include "platform/x11/X11ErrorTrap.h"

#ifndef GLX_CONTEXT_MAJOR_VERSION_ARB
#define GLX_CONTEXT_MAJOR_VERSION_ARB 0x2091
#define GLX_CONTEXT_MINOR_VERSION_ARB 0x2092
#endif
#ifndef GLX_CONTEXT_PROFILE_MASK_ARB
#define GLX_CONTEXT_PROFILE_MASK_ARB 0x9126
#define GLX_CONTEXT_CORE_PROFILE_BIT_ARB 0x00000001
#endif

namespace ovcf {
namespace {

using CreateContextAttribs = GLXContext (*)(Display*, GLXFBConfig, GLXContext, Bool, const int*);
using SwapIntervalExt = void (*)(Display*, GLXDrawable, int);
using SwapIntervalMesa = int (*)(unsigned int);

GLADapiproc loadGlFunction(void*, const char* name) {
    return reinterpret_cast<GLADapiproc>(glXGetProcAddressARB(reinterpret_cast<const GLubyte*>(name)));
}

bool hasExtension(const char* list, const char* name) {
    if (!list) return false;
    const std::size_t length = std::strlen(name);
    for (const char* p = std::strstr(list, name); p; p = std::strstr(p + 1, name)) {
        const bool startOk = p == list || p[-1] == ' ';
        const bool endOk = p[length] == ' ' || p[length] == '\0';
        if (startOk && endOk) return true;
    }
    return false;
}

void requestVerticalSync(Display* display, Window window) {
    const char* extensions = glXQueryExtensionsString(display, DefaultScreen(display));
    if (hasExtension(extensions, "GLX_EXT_swap_control")) {
        auto swapInterval = reinterpret_cast<SwapIntervalExt>(
            glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXSwapIntervalEXT")));
        if (swapInterval) {
            X11ErrorTrap trap(display);
            swapInterval(display, window, 1);
        }
    } else if (hasExtension(extensions, "GLX_MESA_swap_control")) {
        auto swapInterval = reinterpret_cast<SwapIntervalMesa>(
            glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXSwapIntervalMESA")));
        if (swapInterval) swapInterval(1);
    }
}

}  // namespace

bool chooseFramebufferConfig(Display* display, int screen, GLXFBConfig& config, XVisualInfo& visual) {
    const int attributes[] = {GLX_X_RENDERABLE, True, GLX_DRAWABLE_TYPE, GLX_WINDOW_BIT, GLX_RENDER_TYPE,
                              GLX_RGBA_BIT, GLX_X_VISUAL_TYPE, GLX_TRUE_COLOR, GLX_DOUBLEBUFFER, True,
                              GLX_RED_SIZE, 8, GLX_GREEN_SIZE, 8, GLX_BLUE_SIZE, 8, GLX_DEPTH_SIZE, 24,
                              GLX_STENCIL_SIZE, 0, None};
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(display, screen, attributes, &count);
    if (!configs || count == 0) {
        if (configs) XFree(configs);
        return false;
    }
    bool found = false;
    for (int i = 0; i < count && !found; ++i) {
        XVisualInfo* info = glXGetVisualFromFBConfig(display, configs[i]);
        if (!info) continue;
        config = configs[i];
        visual = *info;
        XFree(info);
        found = true;
    }
    XFree(configs);
    return found;
}

GLXContext createCoreContext(Display* display, Window window, GLXFBConfig config, std::string& error) {
    auto createContext = reinterpret_cast<CreateContextAttribs>(
        glXGetProcAddressARB(reinterpret_cast<const GLubyte*>("glXCreateContextAttribsARB")));
    if (!createContext) {
        error = "the graphics driver does not support modern OpenGL contexts (glXCreateContextAttribsARB is "
                "missing): update the video driver";
        return nullptr;
    }
    const int attributes[] = {GLX_CONTEXT_MAJOR_VERSION_ARB, 4, GLX_CONTEXT_MINOR_VERSION_ARB, 5,
                              GLX_CONTEXT_PROFILE_MASK_ARB, GLX_CONTEXT_CORE_PROFILE_BIT_ARB, None};
    GLXContext context = nullptr;
    {
        X11ErrorTrap trap(display);
        context = createContext(display, config, nullptr, True, attributes);
        if (trap.failed() && context) {
            glXDestroyContext(display, context);
            context = nullptr;
        }
    }
    if (!context) {
        error = "the graphics card does not support OpenGL 4.5: update the video driver, or the card is too old for this module";
        return nullptr;
    }
    if (!glXMakeCurrent(display, window, context)) {
        glXDestroyContext(display, context);
        error = "cannot activate the OpenGL context";
        return nullptr;
    }
    if (!loadGlFunctionsOnce(&loadGlFunction)) {
        glXMakeCurrent(display, None, nullptr);
        glXDestroyContext(display, context);
        error = "cannot load the OpenGL functions";
        return nullptr;
    }
    requestVerticalSync(display, window);
    return context;
}

void destroyContext(Display* display, GLXContext context) {
    if (!context) return;
    if (glXGetCurrentContext() == context) glXMakeCurrent(display, None, nullptr);
    glXDestroyContext(display, context);
}

}  // namespace ovcf
