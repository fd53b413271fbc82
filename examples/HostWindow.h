/* The example host's own top-level window, one implementation per window system. */
#ifndef EXAMPLE_HOST_WINDOW_H
#define EXAMPLE_HOST_WINDOW_H

#include "OrvanePC.h"

/* Opens a visible window of the given client size; 0 on failure. */
int hostWindowOpen(int width, int height, PcParentWindow* window);
/* Handles the window system's pending messages (and the view's, on X11). */
void hostWindowPump(PcView view);
void hostWindowClose(void);

#endif
