// Input actions replayed through the window system, for headless runs and for tests: what a
// user would do with the mouse and the keyboard, and the host's own menu commands.
//
//   tool rect|circle|polygon|none    mode replace|add|subtract    view 0-5    zoomall
//   rect zoom|clipbox|none    clipbox on|off|clear|thinner|thicker
//   drag X0,Y0 X1,Y1   rdrag ...   mdrag ...   click X,Y   rclick X,Y   key enter|escape|delete
//   delete   undo   restore   confirm   selectall   invert   clear   readback
//   plane start|cancel|undo   readout on|off   move X,Y   pickcolor X,Y (the colour filter's reference)
//   pointclick X,Y (a left click on the drawn point nearest to X,Y; pickcolor also takes the nearest)
//   frames N   screenshot FILE.png   expect selected|deleted|surviving|planestate|cursorpoint [=|<|>]N
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "HostWindow.h"
#include "OrvanePC.h"

// Actions separated by ';' or by line feeds; '#' starts a comment.
std::vector<std::string> splitActions(const std::string& text);
bool readActionFile(const std::string& path, std::vector<std::string>& actions);

// Runs the actions in order, printing one line each; `frame` draws one frame. False at the first
// action that is not understood, fails, or whose expectation is not met; with `keepGoing` such an
// action is logged and the rest still run (a demo on a cloud the script was not written for).
bool runActions(const std::vector<std::string>& actions, HostWindow& host, PcView view,
                const std::function<void()>& frame, bool keepGoing = false);
