// The planes that bound what a view-projection matrix sees, and the box test against them.
#pragma once

#include <array>

#include "core/Matrix4.h"
#include "core/Vec3.h"

namespace ovcf {

// a·x + b·y + c·z + d >= 0 on the inner side.
struct Plane {
    double a = 0.0, b = 0.0, c = 0.0, d = 0.0;
};
// Left, right, bottom, top, near, far.
using FrustumPlanes = std::array<Plane, 6>;

// The six planes of a view-projection matrix, each normalised.
FrustumPlanes frustumPlanes(const Mat4d& viewProjection);
// True when the box lies entirely behind one of the planes.
bool boxOutside(const FrustumPlanes& planes, const Vec3d& min, const Vec3d& max);

}  // namespace ovcf
