// Three doubles in world or render space (metres, Z up); the camera's arithmetic type.
#pragma once

#include <cmath>

namespace ovcf {

struct Vec3d {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    constexpr Vec3d() = default;
    constexpr Vec3d(double xValue, double yValue, double zValue) : x(xValue), y(yValue), z(zValue) {}

    constexpr Vec3d operator+(const Vec3d& o) const { return {x + o.x, y + o.y, z + o.z}; }
    constexpr Vec3d operator-(const Vec3d& o) const { return {x - o.x, y - o.y, z - o.z}; }
    constexpr Vec3d operator-() const { return {-x, -y, -z}; }
    constexpr Vec3d operator*(double s) const { return {x * s, y * s, z * s}; }
    constexpr Vec3d operator/(double s) const { return {x / s, y / s, z / s}; }
    Vec3d& operator+=(const Vec3d& o) { x += o.x; y += o.y; z += o.z; return *this; }
    Vec3d& operator-=(const Vec3d& o) { x -= o.x; y -= o.y; z -= o.z; return *this; }
    constexpr bool operator==(const Vec3d& o) const = default;
};

constexpr Vec3d operator*(double s, const Vec3d& v) { return v * s; }
constexpr double dot(const Vec3d& a, const Vec3d& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }
constexpr Vec3d cross(const Vec3d& a, const Vec3d& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
// The coordinate along an axis: 0 x, 1 y, 2 z.
inline double& component(Vec3d& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }
inline double component(const Vec3d& v, int axis) { return axis == 0 ? v.x : axis == 1 ? v.y : v.z; }
inline double length(const Vec3d& v) { return std::sqrt(dot(v, v)); }
// The unit vector along v; v itself when it has no length.
inline Vec3d normalized(const Vec3d& v) {
    const double len = length(v);
    return len > 0.0 ? v / len : v;
}

}  // namespace ovcf
