#include "platform/x11/X11ErrorTrap.h"

#include <atomic>
#include <mutex>

namespace ovcf {
namespace {

// Xlib's error handler is process-wide; one trap at a time.
std::recursive_mutex gTrapLock;
std::atomic<int> gErrorCode{0};

int recordError(Display*, XErrorEvent* event) {
    gErrorCode.store(event->error_code);
    return 0;
}

}  // namespace

X11ErrorTrap::X11ErrorTrap(Display* display) : display_(display) {
    gTrapLock.lock();
    XSync(display_, False);
    gErrorCode.store(0);
    previous_ = XSetErrorHandler(&recordError);
}

X11ErrorTrap::~X11ErrorTrap() {
    XSync(display_, False);
    XSetErrorHandler(previous_);
    gTrapLock.unlock();
}

bool X11ErrorTrap::failed() {
    XSync(display_, False);
    return gErrorCode.load() != 0;
}

int X11ErrorTrap::errorCode() const { return gErrorCode.load(); }

}  // namespace ovcf
