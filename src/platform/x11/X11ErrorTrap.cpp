#include "platform/x11/X11ErrorTrap.h"

#include <atomic>
#include <mutex>

namespace ovcf {
namespace {

using ErrorHandler = int (*)(Display*, XErrorEvent*);

constexpr int kMaxWatched = 16;
// Read by the handler, which may run on a thread that holds no trap (an X error of the host's).
std::atomic<Display*> gWatched[kMaxWatched];
std::atomic<int> gDepth{0};
std::atomic<ErrorHandler> gPrevious{nullptr};
std::atomic<std::uint64_t> gErrorCount{0};
std::atomic<int> gErrorCode{0};

bool watched(Display* display) {
    const int depth = gDepth.load();
    for (int i = 0; i < depth && i < kMaxWatched; ++i)
        if (gWatched[i].load() == display) return true;
    return false;
}

int recordError(Display* display, XErrorEvent* event) {
    if (!watched(display)) {
        const ErrorHandler previous = gPrevious.load();
        return previous ? previous(display, event) : 0;
    }
    gErrorCode.store(event->error_code);
    gErrorCount.fetch_add(1);
    return 0;
}

}  // namespace

// Xlib's error handler is process-wide: one thread traps at a time, nested traps included.
std::recursive_mutex& x11TrapLock() {
    static std::recursive_mutex lock;
    return lock;
}

X11ErrorTrap::X11ErrorTrap(Display* display) : display_(display) {
    x11TrapLock().lock();
    // Errors of earlier requests belong to whoever made them.
    if (display_) XSync(display_, False);
    const int depth = gDepth.load();
    outermost_ = depth == 0;
    if (depth < kMaxWatched) gWatched[depth].store(display_);
    gDepth.store(depth + 1);
    if (outermost_) {
        gErrorCode.store(0);
        gPrevious.store(XSetErrorHandler(&recordError));
    }
    errorsAtStart_ = gErrorCount.load();
}

X11ErrorTrap::~X11ErrorTrap() {
    if (display_) XSync(display_, False);
    const int depth = gDepth.load() - 1;
    if (depth < kMaxWatched) gWatched[depth].store(nullptr);
    gDepth.store(depth);
    if (outermost_) XSetErrorHandler(gPrevious.exchange(nullptr));
    x11TrapLock().unlock();
}

bool X11ErrorTrap::failed() {
    if (display_) XSync(display_, False);
    return gErrorCount.load() != errorsAtStart_;
}

int X11ErrorTrap::errorCode() const { return gErrorCode.load(); }

}  // namespace ovcf
