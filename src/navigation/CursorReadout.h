// The world point under the mouse, kept for the coordinate readout in the view's corner.
#pragma once

#include <string>

#include "core/Vec3.h"

namespace ovcf {

struct CursorReadout {
    double x = 0.0, y = 0.0;  // last cursor position, window pixels
    bool inside = false;      // the cursor is over the view
    bool on = false;
    bool valid = false;       // a point was found under the cursor
    Vec3d point;              // world metres
};

// "X %.3f   Y %.3f   Z %.3f" of the point.
std::string readoutText(const Vec3d& point);

}  // namespace ovcf
