// The camera's projection of a point of the file, in double precision relative to the local
// origin, down to window pixels (origin top-left, y down).
#pragma once

#include <array>

#include "core/Vec3.h"
#include "ovcf/FileFormat.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

class ScreenProjection {
public:
    // Points nearer the camera's plane than this are behind it.
    static constexpr double kMinW = 1e-9;

    ScreenProjection(const std::array<float, 16>& m, const Vec3d& origin, const FileHeader& header, int width,
                     int height);

    // The point's position in the local frame.
    Vec3d local(const PointRecord& p) const {
        return {static_cast<std::int32_t>(p.x) * step_[0] + shift_[0], static_cast<std::int32_t>(p.y) * step_[1] + shift_[1],
                static_cast<std::int32_t>(p.z) * step_[2] + shift_[2]};
    }
    // False for points at or behind the camera; otherwise window pixels.
    bool project(const Vec3d& d, double& x, double& y) const {
        const double w = m_[3] * d.x + m_[7] * d.y + m_[11] * d.z + m_[15];
        if (w <= kMinW) return false;
        const double nx = (m_[0] * d.x + m_[4] * d.y + m_[8] * d.z + m_[12]) / w;
        const double ny = (m_[1] * d.x + m_[5] * d.y + m_[9] * d.z + m_[13]) / w;
        x = (nx + 1.0) * halfWidth_;
        y = (1.0 - ny) * halfHeight_;
        return true;
    }

private:
    double m_[16];
    double step_[3];
    double shift_[3];  // offset - origin
    double halfWidth_;
    double halfHeight_;
};

}  // namespace ovcf
