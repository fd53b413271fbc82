// Catches X protocol errors raised by a block of calls instead of letting Xlib exit the process.
// Traps nest; an error on a display no trap is watching goes on to the handler that was installed
// before the outermost trap, so a host's own X errors are not swallowed.
#pragma once

#include <X11/Xlib.h>

#include <cstdint>
#include <mutex>

namespace ovcf {

// The process-wide lock every trap holds. Also taken around setting up and tearing down GLX,
// which is not safe on two threads at once; one lock keeps the order of locking trivial.
std::recursive_mutex& x11TrapLock();

class X11ErrorTrap {
public:
    explicit X11ErrorTrap(Display* display);
    ~X11ErrorTrap();
    X11ErrorTrap(const X11ErrorTrap&) = delete;
    X11ErrorTrap& operator=(const X11ErrorTrap&) = delete;

    // Syncs with the server and tells whether any error on this display arrived since
    // construction.
    bool failed();
    int errorCode() const;

private:
    Display* display_;
    std::uint64_t errorsAtStart_ = 0;
    bool outermost_ = false;
};

}  // namespace ovcf
