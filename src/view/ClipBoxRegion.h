// The clip box as the selection and the read-back see it: a region in the local frame (world
// minus the view's render origin).
#pragma once

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

private:
    const ClipBox& box_;
    Vec3d origin_;
};

}  // namespace ovcf
