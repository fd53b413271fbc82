#include "core/Frustum.h"

#include <cmath>

namespace ovcf {
namespace {

Plane makePlane(const Mat4d& m, int row, double sign) {
    Plane p{m.at(3, 0) + sign * m.at(row, 0), m.at(3, 1) + sign * m.at(row, 1),
            m.at(3, 2) + sign * m.at(row, 2), m.at(3, 3) + sign * m.at(row, 3)};
    const double len = std::sqrt(p.a * p.a + p.b * p.b + p.c * p.c);
    if (len > 0.0) {
        p.a /= len;
        p.b /= len;
        p.c /= len;
        p.d /= len;
    }
    return p;
}

}  // namespace

FrustumPlanes frustumPlanes(const Mat4d& m) {
    return {makePlane(m, 0, 1.0), makePlane(m, 0, -1.0), makePlane(m, 1, 1.0),
            makePlane(m, 1, -1.0), makePlane(m, 2, 1.0), makePlane(m, 2, -1.0)};
}

bool boxOutside(const FrustumPlanes& planes, const Vec3d& min, const Vec3d& max) {
    for (const Plane& p : planes) {
        const double x = p.a >= 0.0 ? max.x : min.x;
        const double y = p.b >= 0.0 ? max.y : min.y;
        const double z = p.c >= 0.0 ? max.z : min.z;
        if (p.a * x + p.b * y + p.c * z + p.d < 0.0) return true;
    }
    return false;
}

}  // namespace ovcf
