// A user's mouse gestures and keys, sent as window-system messages to a view's own window, and
// the view's turn to handle them.
#pragma once

#include <cstdint>

#include "OrvanePC.h"
#include "ParentWindow.h"

namespace ovcf::harness {

inline void pumpView(ParentWindow& parent, PcView view) {
    parent.flush();
#if !defined(_WIN32)
    PC_X11ProcessEvents(view);
#else
    (void)view;
#endif
}

// Press, a move halfway, the move to the end, release.
inline void dragInView(ParentWindow& parent, std::uintptr_t child, PcView view, int button, int fromX, int fromY,
                       int toX, int toY) {
    parent.sendMove(child, fromX, fromY);
    parent.sendButton(child, button, true, fromX, fromY);
    parent.sendMove(child, (fromX + toX) / 2, (fromY + toY) / 2);
    parent.sendMove(child, toX, toY);
    parent.sendButton(child, button, false, toX, toY);
    pumpView(parent, view);
}

inline void clickInView(ParentWindow& parent, std::uintptr_t child, PcView view, int button, int x, int y) {
    parent.sendMove(child, x, y);
    parent.sendButton(child, button, true, x, y);
    parent.sendButton(child, button, false, x, y);
    pumpView(parent, view);
}

}  // namespace ovcf::harness
