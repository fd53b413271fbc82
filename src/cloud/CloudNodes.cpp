#include "cloud/CloudNodes.h"

#include <algorithm>
#include <cmath>

namespace ovcf {
namespace {

bool usableBox(const double min[3], const double max[3]) {
    for (int a = 0; a < 3; ++a)
        if (!std::isfinite(min[a]) || !std::isfinite(max[a]) || min[a] > max[a]) return false;
    return true;
}

// The node's cube in world coordinates.
void cubeBox(const FileHeader& header, const HierarchyRecord& record, Vec3d& min, Vec3d& max) {
    const auto origin = nodeOrigin(header, record.key());
    const double side = double(nodeCubeSide(header.rootExponent, record.level));
    for (int a = 0; a < 3; ++a) {
        const double from = header.offset[a] + header.step[a] * double(origin[a]);
        const double to = header.offset[a] + header.step[a] * (double(origin[a]) + side);
        component(min, a) = std::min(from, to);
        component(max, a) = std::max(from, to);
    }
}

}  // namespace

Vec3d cloudReferencePoint(const FileHeader& header) {
    if (usableBox(header.boundsMin, header.boundsMax))
        return {(header.boundsMin[0] + header.boundsMax[0]) / 2, (header.boundsMin[1] + header.boundsMax[1]) / 2,
                (header.boundsMin[2] + header.boundsMax[2]) / 2};
    HierarchyRecord root;
    Vec3d min, max;
    cubeBox(header, root, min, max);
    return (min + max) / 2.0;
}

Vec3d quantisedToWorld(const FileHeader& header, double qx, double qy, double qz) {
    return {header.offset[0] + header.step[0] * qx, header.offset[1] + header.step[1] * qy,
            header.offset[2] + header.step[2] * qz};
}

void nodeRenderOrigin(const FileHeader& header, const HierarchyRecord& record, const Vec3d& reference,
                      float origin[3]) {
    const auto q = nodeOrigin(header, record.key());
    const Vec3d world = quantisedToWorld(header, double(q[0]), double(q[1]), double(q[2]));
    origin[0] = static_cast<float>(world.x - reference.x);
    origin[1] = static_cast<float>(world.y - reference.y);
    origin[2] = static_cast<float>(world.z - reference.z);
}

// The node's cube cut to the cloud's box; points may sit up to one step outside the box.
void nodeBox(const FileHeader& header, const HierarchyRecord& record, Vec3d& min, Vec3d& max) {
    cubeBox(header, record, min, max);
    if (!usableBox(header.boundsMin, header.boundsMax)) return;
    for (int a = 0; a < 3; ++a) {
        const double margin = std::fabs(header.step[a]);
        const double lo = std::max(component(min, a), header.boundsMin[a] - margin);
        const double hi = std::min(component(max, a), header.boundsMax[a] + margin);
        if (lo <= hi) {
            component(min, a) = lo;
            component(max, a) = hi;
        }
    }
}

float typicalSpacing(const FileHeader& header, const HierarchyRecord& record) {
    Vec3d min, max;
    nodeBox(header, record, min, max);
    double extents[3] = {max.x - min.x, max.y - min.y, max.z - min.z};
    std::sort(extents, extents + 3);
    if (record.pointCount == 0) return static_cast<float>(extents[2]);
    const double area = std::max(extents[2] * extents[1], 1e-12);
    return static_cast<float>(std::sqrt(area / static_cast<double>(record.pointCount)));
}

std::vector<NodeInfo> describeNodes(const FileHeader& header, const std::vector<HierarchyRecord>& records,
                                    const Vec3d& reference) {
    std::vector<NodeInfo> nodes(records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        const HierarchyRecord& record = records[i];
        NodeInfo& node = nodes[i];
        Vec3d min, max;
        nodeBox(header, record, min, max);
        node.boxMin = min - reference;
        node.boxMax = max - reference;
        node.centre = (node.boxMin + node.boxMax) / 2.0;
        node.radius = length(node.boxMax - node.boxMin) / 2.0;
        nodeRenderOrigin(header, record, reference, node.origin);
        node.spacing = typicalSpacing(header, record);
        node.level = record.level;
        node.pointCount = record.pointCount;
        node.firstPoint = record.firstPoint;
    }
    for (std::size_t i = 0; i < records.size(); ++i) {
        int kept = 0;
        for (std::uint32_t child : records[i].children) {
            if (child == kNoChild || child <= i || child >= records.size() || nodes[child].parent != kNoChild)
                continue;
            nodes[child].parent = static_cast<std::uint32_t>(i);
            nodes[i].children[kept++] = child;
        }
    }
    return nodes;
}

}  // namespace ovcf
