#include "cloud/ViewSettings.h"

#include <algorithm>
#include <cmath>

namespace ovcf {
namespace {

// A value that is not a number keeps the current setting.
void clampInto(double& field, double value, double low, double high) {
    if (!std::isnan(value)) field = std::clamp(value, low, high);
}

}  // namespace

void SelectionSettings::setSpacing(double metres) { clampInto(spacing, metres, kSpacingMin, kSpacingMax); }

void SelectionSettings::setClothResolution(double value) {
    clampInto(clothResolution, value, kClothResolutionMin, kClothResolutionMax);
}

void SelectionSettings::setClothTension(double value) {
    clampInto(clothTension, value, kClothTensionMin, kClothTensionMax);
}

void SelectionSettings::setClothOffset(double value) {
    clampInto(clothOffset, value, kClothOffsetMin, kClothOffsetMax);
}

void SelectionSettings::setIsolatedRadius(double metres) {
    clampInto(isolatedRadius, metres, kIsolatedRadiusMin, kIsolatedRadiusMax);
}

void SelectionSettings::setIsolatedNeighbors(std::uint32_t count) {
    isolatedNeighbors = std::clamp(count, kIsolatedNeighborsMin, kIsolatedNeighborsMax);
}

void SelectionSettings::setIsolatedGroup(std::uint32_t count) {
    isolatedGroup = std::clamp(count, kIsolatedGroupMin, kIsolatedGroupMax);
}

void SelectionSettings::setColorTolerance(double value) {
    clampInto(colorTolerance, value, kColorToleranceMin, kColorToleranceMax);
}

bool SelectionSettings::setCombineMode(std::uint32_t mode) {
    if (mode > 2) return false;
    combineMode = mode;
    return true;
}

}  // namespace ovcf
