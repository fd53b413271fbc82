#include "import/XyzWriter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace ovcf {

void XyzWriter::writeHeader() {
    const double finest = std::min({cloud_.step[0], cloud_.step[1], cloud_.step[2]});
    decimals_ = finest > 0 ? std::clamp(static_cast<int>(std::ceil(-std::log10(finest) - 1e-9)), 0, 9) : 6;
}

void XyzWriter::writePoint(const PointRecord& p) {
    char line[160];
    const int n = std::snprintf(line, sizeof line, "%.*f %.*f %.*f %u %u %u\n", decimals_, worldCoordinate(cloud_, 0, p.x),
                                decimals_, worldCoordinate(cloud_, 1, p.y), decimals_, worldCoordinate(cloud_, 2, p.z),
                                unsigned{p.red}, unsigned{p.green}, unsigned{p.blue});
    if (n > 0) put(line, static_cast<std::size_t>(std::min<int>(n, sizeof line - 1)));
}

}  // namespace ovcf
