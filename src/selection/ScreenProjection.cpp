#include "selection/ScreenProjection.h"

#include <algorithm>

namespace ovcf {

ScreenProjection::ScreenProjection(const std::array<float, 16>& m, const Vec3d& origin, const FileHeader& header,
                                   int width, int height) {
    for (int i = 0; i < 16; ++i) m_[i] = m[i];
    const double o[3] = {origin.x, origin.y, origin.z};
    for (int a = 0; a < 3; ++a) {
        step_[a] = header.step[a];
        shift_[a] = header.offset[a] - o[a];
    }
    halfWidth_ = std::max(1, width) * 0.5;
    halfHeight_ = std::max(1, height) * 0.5;
}

}  // namespace ovcf
