// The GL context current on the calling thread when a call into the module began, made current
// again when it ends: a host that draws with GL of its own finds its context as it left it.
#pragma once

#include <cstdint>

namespace ovcf {

class CurrentGlContextGuard {
public:
    CurrentGlContextGuard();  // remembers what is current now
    ~CurrentGlContextGuard();  // makes it current again (or none, when none was)
    CurrentGlContextGuard(const CurrentGlContextGuard&) = delete;
    CurrentGlContextGuard& operator=(const CurrentGlContextGuard&) = delete;

private:
    void* display_ = nullptr;  // X11 display, or the device context on Windows
    std::uintptr_t draw_ = 0;
    std::uintptr_t read_ = 0;
    void* context_ = nullptr;
};

}  // namespace ovcf
