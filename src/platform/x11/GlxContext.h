// The GLX side of a view window: framebuffer configuration, 4.5 core context, GL loading.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <string>

typedef struct __GLXcontextRec* GLXContext;
typedef struct __GLXFBConfigRec* GLXFBConfig;

namespace ovcf {

// A double-buffered RGBA8 configuration with a 24-bit depth buffer for the screen; its visual
// is copied to `visual`. False when the server offers none.
bool chooseFramebufferConfig(Display* display, int screen, GLXFBConfig& config, XVisualInfo& visual);

// Creates a 4.5 core context, makes it current on `window`, loads the GL functions and asks for
// vertical sync. Null with the reason in `error`.
GLXContext createCoreContext(Display* display, Window window, GLXFBConfig config, std::string& error);

void destroyContext(Display* display, GLXContext context);

}  // namespace ovcf
