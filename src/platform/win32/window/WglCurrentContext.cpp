#include <windows.h>

#include "platform/CurrentGlContext.h"

namespace ovcf {

CurrentGlContextGuard::CurrentGlContextGuard() : display_(wglGetCurrentDC()), context_(wglGetCurrentContext()) {}

CurrentGlContextGuard::~CurrentGlContextGuard() {
    auto* saved = static_cast<HGLRC>(context_);
    auto* savedDc = static_cast<HDC>(display_);
    if (wglGetCurrentContext() == saved && wglGetCurrentDC() == savedDc) return;
    if (saved) wglMakeCurrent(savedDc, saved);
    else wglMakeCurrent(nullptr, nullptr);
}

}  // namespace ovcf
