// The clip box as the selection and the read-back see it: a region in the local frame (world
// minus the view's render origin).
#pragma once

#include <cmath>

#include "navigation/ClipBox.h"
#include "selection/SelectionQuery.h"

namespace ovcf {

class ClipBoxRegion final : public SelectionRegion {
public:
    ClipBoxRegion(const ClipBox& box, const Vec3d& origin) : box_(box), origin_(origin) {}

    bool contains(const Vec3d& local) const override { return box_.contains(local + origin_); }
    bool meetsBox(const Vec3d& min, const Vec3d& max, double margin) const override {
        const Vec3d m{margin, margin, margin};
        return box_.overlapsBox(min + origin_ - m, max + origin_ + m);
    }
    // The box grown by `margin` along each of its own axes.
    bool containsWithin(const Vec3d& local, double margin) const override {
        if (box_.empty()) return true;
        const Vec3d d = local + origin_ - box_.centre();
        for (int a = 0; a < 3; ++a)
            if (std::fabs(dot(box_.axis(a), d)) > box_.halfExtent(a) + margin) return false;
        return true;
    }

private:
    const ClipBox& box_;
    Vec3d origin_;
};

}  // namespace ovcf
