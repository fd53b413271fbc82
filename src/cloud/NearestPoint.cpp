#include "cloud/NearestPoint.h"

#include <cmath>

namespace ovcf {
namespace {

// Vertices are floats relative to the node's origin: a point may sit a hair outside its box.
constexpr double kBoxTolerance = 1e-3;

double squaredDistanceToBox(const Vec3d& p, const Vec3d& min, const Vec3d& max) {
    const auto axis = [](double v, double lo, double hi) {
        const double d = v < lo ? lo - v : v > hi ? v - hi : 0.0;
        return d * d;
    };
    return axis(p.x, min.x, max.x) + axis(p.y, min.y, max.y) + axis(p.z, min.z, max.z);
}

}  // namespace

std::optional<NearPoint> findNearestPoint(const std::vector<NodeInfo>& nodes, const Vec3d& position, double radius,
                                          const NodeVertices& vertices, const PointShown& shown) {
    if (nodes.empty() || !(radius >= 0.0)) return std::nullopt;
    const double reach = (radius + kBoxTolerance) * (radius + kBoxTolerance);
    double best = radius * radius;
    std::optional<NearPoint> found;
    std::vector<std::uint32_t> pending{0};
    std::vector<PointVertex> points;
    while (!pending.empty()) {
        const std::uint32_t index = pending.back();
        pending.pop_back();
        const NodeInfo& node = nodes[index];
        if (squaredDistanceToBox(position, node.boxMin, node.boxMax) > reach) continue;
        for (std::uint32_t child : node.children)
            if (child != kNoChild && child < nodes.size()) pending.push_back(child);
        if (node.pointCount == 0 || !vertices(index, points)) continue;
        const Vec3d origin{node.origin[0], node.origin[1], node.origin[2]};
        for (const PointVertex& v : points) {
            const Vec3d p = origin + Vec3d{v.x, v.y, v.z};
            const Vec3d d = p - position;
            const double squared = dot(d, d);
            if (squared > best || (found && squared == best) || !shown(p, v)) continue;
            best = squared;
            found = NearPoint{p, v, node.origin[2] + v.z, node.level, 0.0};
        }
    }
    if (found) found->distance = std::sqrt(best);
    return found;
}

}  // namespace ovcf
