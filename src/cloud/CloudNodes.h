// What the view needs to know of each node of an open cloud, derived once from the file's
// header and hierarchy: where the node lies in render space (world minus the cloud's reference
// point), how far apart its points typically are, and how the nodes hang together.
#pragma once

#include <cstdint>
#include <vector>

#include "core/Vec3.h"
#include "ovcf/FileFormat.h"

namespace ovcf {

struct NodeInfo {
    Vec3d boxMin;             // render space: the node's cube cut to the cloud's bounding box
    Vec3d boxMax;
    Vec3d centre;             // bounding sphere around the box
    double radius = 0.0;
    float origin[3] = {0, 0, 0};  // the cube's origin in render space, as the GPU receives it
    float spacing = 0.0f;         // typical point spacing, metres
    std::uint32_t level = 0;
    std::uint32_t pointCount = 0;
    std::uint64_t firstPoint = 0;
    std::uint32_t parent = kNoChild;
    // Existing children first, then kNoChild.
    std::uint32_t children[8] = {kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild, kNoChild};
};

// The point that render space is measured from: the centre of the cloud's bounding box, or of
// the root cube when the header's box is unusable.
Vec3d cloudReferencePoint(const FileHeader& header);

// World position of absolute quantised coordinates: offset + step × q per axis.
Vec3d quantisedToWorld(const FileHeader& header, double qx, double qy, double qz);

// The node cube's origin in render space, rounded to floats once so that the loader's relative
// positions and the renderer's node origin agree to the bit.
void nodeRenderOrigin(const FileHeader& header, const HierarchyRecord& record, const Vec3d& reference,
                      float origin[3]);

// Surveyed points cover surfaces rather than volumes: spread over the two largest extents of the
// node's box (its cube cut to the cloud), n points lie about sqrt(area / n) apart. An empty node
// gets its longest extent.
float typicalSpacing(const FileHeader& header, const HierarchyRecord& record);

// One entry per hierarchy record. Child links that point outside the table, backwards (the file
// writes parents first) or at a node that already has a parent are dropped, so that walking the
// children from the root visits every node at most once, whatever the file holds.
std::vector<NodeInfo> describeNodes(const FileHeader& header, const std::vector<HierarchyRecord>& records,
                                    const Vec3d& reference);

}  // namespace ovcf
