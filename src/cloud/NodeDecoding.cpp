#include "cloud/NodeDecoding.h"

#include "cloud/CloudNodes.h"
#include "import/MemoryCloud.h"

namespace ovcf {

void decodeNodeVertices(const FileHeader& header, const HierarchyRecord& record, const Vec3d& reference,
                        const std::vector<PointRecord>& points, std::vector<PointVertex>& vertices) {
    float origin[3];
    nodeRenderOrigin(header, record, reference, origin);
    // World = offset + step × q; everything that does not depend on the point is folded once.
    double base[3];
    for (int a = 0; a < 3; ++a) base[a] = header.offset[a] - (a == 0 ? reference.x : a == 1 ? reference.y : reference.z) -
                                          double(origin[a]);
    const double step[3] = {header.step[0], header.step[1], header.step[2]};
    const bool coloured = header.pointFormat >= PointFormatXyzRgb;

    vertices.resize(points.size());
    for (std::size_t i = 0; i < points.size(); ++i) {
        const PointRecord& p = points[i];
        PointVertex& v = vertices[i];
        v.x = static_cast<float>(base[0] + step[0] * double(p.x));
        v.y = static_cast<float>(base[1] + step[1] * double(p.y));
        v.z = static_cast<float>(base[2] + step[2] * double(p.z));
        if (coloured) {
            v.r = p.red;
            v.g = p.green;
            v.b = p.blue;
        } else {
            v.r = v.g = v.b = kGreyWithoutColour;
        }
        v.a = 255;
        v.intensity = p.intensity;
        v.classification = p.classification;
        v.index = static_cast<std::uint32_t>(record.firstPoint + i);
    }
}

}  // namespace ovcf
