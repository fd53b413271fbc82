#include <GL/glx.h>

#include "platform/CurrentGlContext.h"
#include "platform/x11/X11ErrorTrap.h"

namespace ovcf {

CurrentGlContextGuard::CurrentGlContextGuard()
    : display_(glXGetCurrentDisplay()),
      draw_(glXGetCurrentDrawable()),
      read_(glXGetCurrentReadDrawable()),
      context_(glXGetCurrentContext()) {}

CurrentGlContextGuard::~CurrentGlContextGuard() {
    auto* saved = static_cast<GLXContext>(context_);
    const GLXContext now = glXGetCurrentContext();
    if (now == saved && glXGetCurrentDrawable() == draw_ && glXGetCurrentReadDrawable() == read_) return;
    if (saved) {
        auto* display = static_cast<Display*>(display_);
        // The host's drawable may be gone by now; that must not end the process.
        X11ErrorTrap trap(display);
        glXMakeContextCurrent(display, draw_, read_, saved);
    } else if (now) {
        Display* display = glXGetCurrentDisplay();
        X11ErrorTrap trap(display);
        glXMakeCurrent(display, None, nullptr);
    }
}

}  // namespace ovcf
