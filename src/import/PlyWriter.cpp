#include "import/PlyWriter.h"

#include <cstring>

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
    char record[30];
    const double xyz[3] = {worldCoordinate(cloud_, 0, p.x), worldCoordinate(cloud_, 1, p.y), worldCoordinate(cloud_, 2, p.z)};
    std::memcpy(record, xyz, 24);
    record[24] = static_cast<char>(p.red);
    record[25] = static_cast<char>(p.green);
    record[26] = static_cast<char>(p.blue);
    std::memcpy(record + 27, &p.intensity, 2);
    record[29] = static_cast<char>(p.classification);
    put(record, sizeof record);
}

}  // namespace ovcf
