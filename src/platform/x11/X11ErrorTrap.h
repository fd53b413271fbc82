// Catches X protocol errors raised by a block of calls instead of letting Xlib exit the process.
//
// Traps are kept per display connection. Every view has a connection of its own, so views on
// several UI threads trap at once without waiting for each other; traps on one connection nest.
// An error counts against a trap when the request that caused it was made while the trap was
// open (Xlib numbers requests), so no round trip is needed to separate earlier errors from the
// trap's own. A trap goes to the server only when requests are still unanswered at its end, or
// when failed() is asked. An error on a connection that no trap is watching goes on to the
// handler that was installed before the first open trap, so a host's own X errors are not
// swallowed.
#pragma once

#include <X11/Xlib.h>

#include <mutex>

namespace ovcf {

// Setting up and tearing down GLX is not safe on two threads at once: views made or destroyed
// on several UI threads take turns under this lock. Traps do not take it.
std::recursive_mutex& glxSetupLock();

class X11ErrorTrap {
public:
    explicit X11ErrorTrap(Display* display);
    ~X11ErrorTrap();
    X11ErrorTrap(const X11ErrorTrap&) = delete;
    X11ErrorTrap& operator=(const X11ErrorTrap&) = delete;

    // Whether a request made on this display since construction failed; waits for the answers to
    // the requests still outstanding first.
    bool failed();
    // The error code of the latest error on the display.
    int errorCode() const;

private:
    Display* display_;
    int slot_ = -1;
    unsigned long firstRequest_ = 0;
};

}  // namespace ovcf
