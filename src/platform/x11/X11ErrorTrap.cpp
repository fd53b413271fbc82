#include "platform/x11/X11ErrorTrap.h"

#include <atomic>
#include <condition_variable>

namespace ovcf {
namespace {

using ErrorHandler = int (*)(Display*, XErrorEvent*);

// One entry per display with traps open on it. The handler reads the entries without the lock:
// Xlib calls it on whichever thread reads the error, possibly while another thread opens a trap.
struct WatchedDisplay {
    std::atomic<Display*> display{nullptr};
    std::atomic<unsigned long> firstRequest{0};  // the first request of the outermost open trap
    std::atomic<unsigned long> lastErrorRequest{0};  // 0: no error since the entry was taken
    std::atomic<int> lastErrorCode{0};
    int traps = 0;  // under gLock
};

constexpr int kMaxDisplays = 64;
WatchedDisplay gWatched[kMaxDisplays];
std::mutex gLock;  // the entries' trap counts, the open-trap count and the handler swap
std::condition_variable gEntryFreed;
int gOpenTraps = 0;
std::atomic<ErrorHandler> gPrevious{nullptr};

int recordError(Display* display, XErrorEvent* event) {
    for (WatchedDisplay& watched : gWatched) {
        if (watched.display.load() != display) continue;
        // An earlier request's error belongs to whoever made it.
        if (event->serial < watched.firstRequest.load()) break;
        watched.lastErrorCode.store(event->error_code);
        watched.lastErrorRequest.store(event->serial);
        return 0;
    }
    const ErrorHandler previous = gPrevious.load();
    return previous ? previous(display, event) : 0;
}

// The display's entry with one more trap, taking a free entry when it has none; waits while
// every entry is taken by other displays.
int watch(Display* display, unsigned long firstRequest, std::unique_lock<std::mutex>& lock) {
    for (;;) {
        int free = -1;
        for (int i = 0; i < kMaxDisplays; ++i) {
            Display* current = gWatched[i].display.load();
            if (current == display) {
                ++gWatched[i].traps;
                return i;
            }
            if (!current && free < 0) free = i;
        }
        if (free >= 0) {
            WatchedDisplay& entry = gWatched[free];
            entry.lastErrorRequest.store(0);
            entry.lastErrorCode.store(0);
            entry.firstRequest.store(firstRequest);
            entry.traps = 1;
            entry.display.store(display);
            return free;
        }
        gEntryFreed.wait(lock);
    }
}

// Requests sent (or still buffered) whose answer or error has not been read yet.
bool requestsUnanswered(Display* display) {
    return XNextRequest(display) - 1 != XLastKnownRequestProcessed(display);
}

}  // namespace

std::recursive_mutex& glxSetupLock() {
    static std::recursive_mutex lock;
    return lock;
}

X11ErrorTrap::X11ErrorTrap(Display* display) : display_(display) {
    if (!display_) return;
    firstRequest_ = XNextRequest(display_);
    std::unique_lock<std::mutex> lock(gLock);
    slot_ = watch(display_, firstRequest_, lock);
    if (gOpenTraps++ == 0) gPrevious.store(XSetErrorHandler(&recordError));
}

X11ErrorTrap::~X11ErrorTrap() {
    if (!display_) return;
    // The errors of this trap's requests must arrive while the display is still watched.
    if (requestsUnanswered(display_)) XSync(display_, False);
    const std::lock_guard<std::mutex> lock(gLock);
    WatchedDisplay& entry = gWatched[slot_];
    if (--entry.traps == 0) {
        entry.display.store(nullptr);
        gEntryFreed.notify_all();
    }
    if (--gOpenTraps == 0) XSetErrorHandler(gPrevious.exchange(nullptr));
}

bool X11ErrorTrap::failed() {
    if (!display_) return false;
    if (requestsUnanswered(display_)) XSync(display_, False);
    return gWatched[slot_].lastErrorRequest.load() >= firstRequest_;
}

int X11ErrorTrap::errorCode() const { return display_ ? gWatched[slot_].lastErrorCode.load() : 0; }

}  // namespace ovcf
