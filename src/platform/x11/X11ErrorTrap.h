// Catches X protocol errors raised by a block of calls instead of letting Xlib exit the process.
#pragma once

#include <X11/Xlib.h>

namespace ovcf {

class X11ErrorTrap {
public:
    explicit X11ErrorTrap(Display* display);
    ~X11ErrorTrap();
    // Syncs with the server and tells whether any error arrived since construction.
    bool failed();
    int errorCode() const;

private:
    Display* display_;
    int (*previous_)(Display*, XErrorEvent*);
};

}  // namespace ovcf
