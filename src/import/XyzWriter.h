// Text, one point a line: "x y z red green blue", with as many decimals as the cache's step
// needs (3 for millimetres) so that the points read back exactly.
#pragma once

#include "import/PointFileWriter.h"

namespace ovcf {

class XyzWriter final : public PointFileWriter {
private:
    void writeHeader() override;
    void writePoint(const PointRecord& point) override;

    int decimals_ = 3;
};

}  // namespace ovcf
