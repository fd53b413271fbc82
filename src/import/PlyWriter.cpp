#include "import/PlyWriter.h"

namespace ovcf {

void PlyWriter::writeHeader() {
    const std::string header = "ply\nformat binary_little_endian 1.0\ncomment OrvanePC ovcf export\nelement vertex " +
                               std::to_string(count_) +
                               "\nproperty double x\nproperty double y\nproperty double z\n"
                               "property uchar red\nproperty uchar green\nproperty uchar blue\n"
                               "property ushort intensity\nproperty uchar classification\nend_header\n";
    put(header.data(), header.size());
}

void PlyWriter::writePoint(const PointRecord& p) {
    putValue<double>(worldCoordinate(cloud_, 0, p.x));
    putValue<double>(worldCoordinate(cloud_, 1, p.y));
    putValue<double>(worldCoordinate(cloud_, 2, p.z));
    putValue<std::uint8_t>(p.red);
    putValue<std::uint8_t>(p.green);
    putValue<std::uint8_t>(p.blue);
    putValue<std::uint16_t>(p.intensity);
    putValue<std::uint8_t>(p.classification);
}

}  // namespace ovcf
