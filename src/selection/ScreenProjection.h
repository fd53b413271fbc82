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
    Vec3d local(const PointRecord& p) const { return local(p.x, p.y, p.z); }
    Vec3d local(std::uint32_t x, std::uint32_t y, std::uint32_t z) const {
        return {static_cast<std::int32_t>(x) * step_[0] + shift_[0], static_cast<std::int32_t>(y) * step_[1] + shift_[1],
                static_cast<std::int32_t>(z) * step_[2] + shift_[2]};
    }
    // The point in clip space: x and y before the division by w.
    struct Clip {
        double x, y, w;
    };
    Clip clip(const Vec3d& d) const {
        return {m_[0] * d.x + m_[4] * d.y + m_[8] * d.z + m_[12], m_[1] * d.x + m_[5] * d.y + m_[9] * d.z + m_[13],
                m_[3] * d.x + m_[7] * d.y + m_[11] * d.z + m_[15]};
    }
    static bool inFront(const Clip& c) { return !(c.w <= kMinW); }
    // Window pixels of a point in front.
    double screenX(const Clip& c) const { return (c.x / c.w + 1.0) * halfWidth_; }
    double screenY(const Clip& c) const { return (1.0 - c.y / c.w) * halfHeight_; }
    double halfWidth() const { return halfWidth_; }
    // The numbers behind local and clip, for loops that apply them to many points at once.
    struct Affine {
        double m[16];
        double step[3];
        double shift[3];
    };
    Affine affine() const {
        Affine f;
        for (int i = 0; i < 16; ++i) f.m[i] = m_[i];
        for (int a = 0; a < 3; ++a) {
            f.step[a] = step_[a];
            f.shift[a] = shift_[a];
        }
        return f;
    }
    double halfHeight() const { return halfHeight_; }

    // False for points at or behind the camera; otherwise window pixels.
    bool project(const Vec3d& d, double& x, double& y) const {
        const Clip c = clip(d);
        if (!inFront(c)) return false;
        x = screenX(c);
        y = screenY(c);
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
