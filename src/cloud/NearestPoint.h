// The nearest loaded point of the cloud to a position. The octree is the spatial index: the walk
// from the root enters only the nodes whose box comes within the radius, and reads the points of
// those that are resident at that moment, so the search follows the nodes as they are uploaded
// and evicted without keeping a second copy of them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "cloud/CloudNodes.h"
#include "cloud/RenderTypes.h"
#include "core/Vec3.h"

namespace ovcf {

// How far from the depth buffer's position a real point is still taken for it, metres.
constexpr double kPickRadius = 0.5;

struct NearPoint {
    Vec3d position;      // render space (world minus the render origin)
    PointVertex vertex;  // its attributes as the renderer has them
    float drawnZ = 0.0f; // render-space height summed in single precision, as the shader does
    std::uint32_t level = 0;
    double distance = 0.0;
};

// The vertices of a resident node, false when it is not resident or cannot be read.
using NodeVertices = std::function<bool(std::uint32_t node, std::vector<PointVertex>& vertices)>;
// Whether a point (render space, its vertex) is drawn at all: not deleted, inside the clip box.
using PointShown = std::function<bool(const Vec3d& position, const PointVertex& vertex)>;

// The shown point nearest to `position` (render space) within `radius` metres, if any; on equal
// distances the first found wins.
std::optional<NearPoint> findNearestPoint(const std::vector<NodeInfo>& nodes, const Vec3d& position, double radius,
                                          const NodeVertices& vertices, const PointShown& shown);

}  // namespace ovcf
