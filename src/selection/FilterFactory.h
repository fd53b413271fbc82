// The filter a selection run uses, made from the view's settings: none when the filter kind is 0,
// unknown, or its parameters turn it off.
#pragma once

#include <cstdint>
#include <memory>

#include "cloud/ViewSettings.h"
#include "core/Vec3.h"
#include "ovcf/FileFormat.h"
#include "selection/SelectionFilter.h"

namespace ovcf {

// What a filter needs besides its own parameters.
struct FilterContext {
    const FileHeader* header = nullptr;  // the cloud's quantisation
    Vec3d viewDirection{0, 0, -1};       // unit, from the eye towards the target
    const RenderSettings* render = nullptr;  // the colour mode the user sees
    // The cloud's lowest and highest z relative to the local origin (the elevation colours).
    double elevationLow = 0.0;
    double elevationHigh = 1.0;
    unsigned threads = 0;  // for filters that count on several threads; 0: the machine's
};

std::unique_ptr<SelectionFilter> makeSelectionFilter(const SelectionSettings& settings, const FilterContext& context);

}  // namespace ovcf
