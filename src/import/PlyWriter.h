// Binary little-endian PLY: a vertex element with double x, y, z, uchar red, green, blue,
// ushort intensity and uchar classification, 30 bytes a point.
#pragma once

#include "import/PointFileWriter.h"

namespace ovcf {

class PlyWriter final : public PointFileWriter {
private:
    void writeHeader() override;
    void writePoint(const PointRecord& point) override;
};

}  // namespace ovcf
