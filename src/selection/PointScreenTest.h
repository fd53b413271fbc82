// The per-point test of a selection, projection and shape in one. A rectangle decides most points
// without dividing by w: which side of an edge e a point lies on is the sign of
// clip x + w (1 - e / half width), and only a point whose distance to an edge is within a margin
// far wider than every rounding involved (a millionth of its size in pixels) is projected and
// tested in single precision exactly as ShapeContains does. So the answer is always the exact
// test's: rounding to float is monotonic, and the edges are floats.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

#include "selection/ScreenProjection.h"
#include "selection/ScreenShape.h"

namespace ovcf {

class PointScreenTest {
public:
    enum Result { Behind, Outside, Inside };

    PointScreenTest(const ScreenProjection& projection, const ScreenShape& shape) : projection_(projection), shape_(shape) {
        rectangle_ = shape.kind() == ShapeRectangle;
        const double hw = projection.halfWidth(), hh = projection.halfHeight();
        left_ = 1.0 - double(shape.minX()) / hw;
        right_ = 1.0 - double(shape.maxX()) / hw;
        top_ = 1.0 - double(shape.minY()) / hh;
        bottom_ = 1.0 - double(shape.maxY()) / hh;
        const double edges = std::max({std::fabs(shape.minX()), std::fabs(shape.maxX()), std::fabs(shape.minY()),
                                       std::fabs(shape.maxY())}) + 1.0;
        const double largest = std::max({std::fabs(left_), std::fabs(right_), std::fabs(top_), std::fabs(bottom_)});
        slack_ = 2.0 + edges / std::min(hw, hh) + largest;
    }

    static constexpr std::size_t kBatch = 256;

    // Behind, Outside or Inside for `count` points (at most kBatch) given by their quantised
    // coordinates, into `results`. The points go through a branch-free loop over plain arrays,
    // which the compiler turns into vector code, and only the undecided ones through the exact
    // test. Returns true when all results are the same.
    bool classify(const std::uint32_t* x, const std::uint32_t* y, const std::uint32_t* z, std::size_t count,
                  std::int32_t* results) const {
        alignas(16) double clipX[kBatch], clipY[kBatch], clipW[kBatch], sides[kBatch];
        // Local copies, so that the compiler knows the arrays written below leave them alone.
        const ScreenProjection::Affine f = projection_.affine();
        const double left = left_, right = right_, top = top_, bottom = bottom_, slack = slack_;
        // Caps the margins of other shapes below zero: their points are all undecided.
        const double cap = rectangle_ ? std::numeric_limits<double>::infinity() : -1.0;
        for (std::size_t i = 0; i < count; ++i) {
            // The same operations, in the same order, as ScreenProjection::local and clip.
            const double dx = static_cast<std::int32_t>(x[i]) * f.step[0] + f.shift[0];
            const double dy = static_cast<std::int32_t>(y[i]) * f.step[1] + f.shift[1];
            const double dz = static_cast<std::int32_t>(z[i]) * f.step[2] + f.shift[2];
            const double* m = f.m;
            const double cx = m[0] * dx + m[4] * dy + m[8] * dz + m[12];
            const double cy = m[1] * dx + m[5] * dy + m[9] * dz + m[13];
            const double cw = m[3] * dx + m[7] * dy + m[11] * dz + m[15];
            clipX[i] = cx;
            clipY[i] = cy;
            clipW[i] = cw;
            // Scaled by w / half size, l, r, t and b are the point minus each edge: inside when
            // l, t > 0 and r, b < 0. In selects the compiler turns into vector minima and maxima,
            // `in` is positive when every edge is clearly on the inner side, `out` when one edge
            // is clearly on the outer side.
            const double l = cx + cw * left, r = cx + cw * right;
            const double t = cw * top - cy, b = cw * bottom - cy;
            const double mx = kMargin * (std::fabs(cx) + cw * slack), my = kMargin * (std::fabs(cy) + cw * slack);
            double in = least(least(l - mx, -r - mx), least(t - my, -b - my));
            double out = most(most(-l - mx, r - mx), most(-t - my, b - my));
            in = least(in, cap);
            out = least(out, cap);
            // A NaN would slip through the selects above; such a point goes to the exact test.
            const double finite = (cx - cx) + (cy - cy) + (cw - cw);  // 0, or NaN
            const double side = finite != 0.0 ? 3.0 : out > 0.0 ? 1.0 : in > 0.0 ? 2.0 : 3.0;
            sides[i] = cw <= ScreenProjection::kMinW ? 0.0 : side;
        }
        std::int32_t any = 0, all = kUndecided, undecided = 0;
        for (std::size_t i = 0; i < count; ++i) {
            results[i] = static_cast<std::int32_t>(sides[i]);
            undecided += results[i] == kUndecided;
        }
        if (undecided)
            for (std::size_t i = 0; i < count; ++i)
                if (results[i] == kUndecided) results[i] = exact({clipX[i], clipY[i], clipW[i]});
        for (std::size_t i = 0; i < count; ++i) {
            any |= results[i];
            all &= results[i];
        }
        return any == all;
    }

    struct Counts {
        std::uint64_t inFront = 0, inside = 0;
    };
    // The points given by their quantised coordinates, n of them: sets bit firstBit + j of `bits`
    // for each point j inside and counts the points in front of the camera and inside.
    Counts markInside(const std::uint32_t* x, const std::uint32_t* y, const std::uint32_t* z, std::size_t n,
                      std::uint64_t* bits, std::uint64_t firstBit) const {
        Counts counts;
        alignas(16) std::int32_t results[kBatch];
        for (std::size_t at = 0; at < n; at += kBatch) {
            const std::size_t count = std::min(kBatch, n - at);
            if (classify(x + at, y + at, z + at, count, results)) {  // a batch of one kind is done at once
                if (results[0] != Behind) counts.inFront += count;
                if (results[0] == Inside) {
                    counts.inside += count;
                    setRun(bits, firstBit + at, count);
                }
                continue;
            }
            for (std::size_t i = 0; i < count; ++i) {
                const std::uint64_t inside = results[i] == Inside;
                const std::uint64_t bit = firstBit + at + i;
                bits[bit >> 6] |= inside << (bit & 63);
                counts.inFront += results[i] != Behind;
                counts.inside += inside;
            }
        }
        return counts;
    }

private:
    static constexpr double kMargin = 1e-6;
    static constexpr int kUndecided = 3;

    // Sets bits [first, first + n).
    static void setRun(std::uint64_t* bits, std::uint64_t first, std::uint64_t n) {
        while (n > 0) {
            const std::uint64_t offset = first & 63, take = std::min<std::uint64_t>(64 - offset, n);
            const std::uint64_t mask = take == 64 ? ~std::uint64_t{0} : ((std::uint64_t{1} << take) - 1) << offset;
            bits[first >> 6] |= mask;
            first += take;
            n -= take;
        }
    }
    static double least(double a, double b) { return a < b ? a : b; }
    static double most(double a, double b) { return a > b ? a : b; }
    Result exact(const ScreenProjection::Clip& c) const {
        return shape_.contains(static_cast<float>(projection_.screenX(c)), static_cast<float>(projection_.screenY(c))) ? Inside
                                                                                                                     : Outside;
    }

    const ScreenProjection& projection_;
    const ScreenShape& shape_;
    bool rectangle_ = false;
    double left_ = 0, right_ = 0, top_ = 0, bottom_ = 0;  // 1 - edge / half size
    double slack_ = 0;
};

}  // namespace ovcf
