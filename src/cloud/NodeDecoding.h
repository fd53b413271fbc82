// Turns a node's points as the reader gives them (absolute quantised coordinates) into the
// renderer's 24-byte vertices: positions in metres relative to the node's origin in render space,
// colour, intensity, class and the global point index.
#pragma once

#include <vector>

#include "cloud/RenderTypes.h"
#include "core/Vec3.h"
#include "ovcf/FileFormat.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

// `vertices` is resized to the point count. The relative positions are taken against the float
// node origin of nodeRenderOrigin, so origin + position lands where the point is even after the
// origin's rounding. Files without colour give the import's grey for colour-less clouds; the
// index keeps the low 32 bits of the global index, as the vertex layout does.
void decodeNodeVertices(const FileHeader& header, const HierarchyRecord& record, const Vec3d& reference,
                        const std::vector<PointRecord>& points, std::vector<PointVertex>& vertices);

}  // namespace ovcf
