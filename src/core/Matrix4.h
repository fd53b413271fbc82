// 4x4 matrices, column-major as OpenGL reads them: element (row r, column c) is m[c * 4 + r].
#pragma once

#include <array>

#include "core/Vec3.h"

namespace ovcf {

struct Mat4d {
    std::array<double, 16> m{};

    static Mat4d identity() {
        Mat4d r;
        r.m[0] = r.m[5] = r.m[10] = r.m[15] = 1.0;
        return r;
    }
    double& at(int row, int column) { return m[column * 4 + row]; }
    double at(int row, int column) const { return m[column * 4 + row]; }

    Mat4d operator*(const Mat4d& o) const {
        Mat4d r;
        for (int c = 0; c < 4; ++c)
            for (int row = 0; row < 4; ++row) {
                double sum = 0.0;
                for (int k = 0; k < 4; ++k) sum += at(row, k) * o.at(k, c);
                r.at(row, c) = sum;
            }
        return r;
    }

    // The single-precision copy handed to the GPU.
    std::array<float, 16> toFloat() const {
        std::array<float, 16> f{};
        for (int i = 0; i < 16; ++i) f[i] = static_cast<float>(m[i]);
        return f;
    }
};

struct Vec4d {
    double x = 0.0, y = 0.0, z = 0.0, w = 0.0;
};

// m × (p, 1).
inline Vec4d transformPoint(const Mat4d& m, const Vec3d& p) {
    Vec4d r;
    r.x = m.at(0, 0) * p.x + m.at(0, 1) * p.y + m.at(0, 2) * p.z + m.at(0, 3);
    r.y = m.at(1, 0) * p.x + m.at(1, 1) * p.y + m.at(1, 2) * p.z + m.at(1, 3);
    r.z = m.at(2, 0) * p.x + m.at(2, 1) * p.y + m.at(2, 2) * p.z + m.at(2, 3);
    r.w = m.at(3, 0) * p.x + m.at(3, 1) * p.y + m.at(3, 2) * p.z + m.at(3, 3);
    return r;
}

}  // namespace ovcf
