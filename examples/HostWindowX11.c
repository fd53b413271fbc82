/* The example's window on X11: a plain top-level window on $DISPLAY. The view's own input is
 * dispatched by PC_X11ProcessEvents, since X11 has no window procedure. */
#include <X11/Xlib.h>

#include "HostWindow.h"

static Display* display;
static Window window;

int hostWindowOpen(int width, int height, PcParentWindow* out) {
    display = XOpenDisplay(NULL);
    if (!display) return 0;
    window = XCreateSimpleWindow(display, DefaultRootWindow(display), 0, 0, (unsigned)width, (unsigned)height, 0, 0, 0);
    XStoreName(display, window, "OrvanePC example host");
    XMapWindow(display, window);
    XSync(display, False);
    *out = window;
    return 1;
}

void hostWindowPump(PcView view) {
    while (XPending(display)) {
        XEvent event;
        XNextEvent(display, &event);
    }
    PC_X11ProcessEvents(view);
}

void hostWindowClose(void) {
    if (!display) return;
    XDestroyWindow(display, window);
    XCloseDisplay(display);
    display = NULL;
}
