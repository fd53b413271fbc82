// X11 events to the view's input events, with Windows virtual-key numbering for keys.
#pragma once

#include <X11/Xlib.h>

#include "platform/ViewWindow.h"

namespace ovcf {

// Fills `out` for the events the view handles; false for everything else.
bool translateX11Event(const XEvent& event, InputEvent& out);
// The virtual-key code for an X keysym, 0 when the view has no use for it.
int virtualKeyFromKeysym(unsigned long keysym);

}  // namespace ovcf
