#include "navigation/CursorReadout.h"

#include <cstdio>

namespace ovcf {

std::string readoutText(const Vec3d& point) {
    char text[128];
    std::snprintf(text, sizeof text, "X %.3f   Y %.3f   Z %.3f", point.x, point.y, point.z);
    return text;
}

}  // namespace ovcf
