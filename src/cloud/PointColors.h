// The colour a point is drawn with, computed on the processor: the formulas of the points shader
// in single precision, in the same order, rounded to 8 bits as the render target stores them.
// The colour filter and the colour pick use it to see what the user sees. Thread-safe: a
// PointColoring is read only.
#pragma once

#include <cstdint>

#include "cloud/ViewSettings.h"
#include "ovcf/PointRecord.h"

namespace ovcf {

// What a colour mode needs besides the point: the view's settings at the time of drawing.
struct PointColoring {
    std::uint32_t mode = 0;  // the ColorMode number; above 14 counts as 14, as in the shader
    ColorRgbF monochrome{0.82f, 0.82f, 0.80f};
    // Lowest and highest z of the cloud relative to the local origin, as the elevation ramp gets them.
    float elevationLow = 0.0f;
    float elevationHigh = 1.0f;
    // False when the file keeps no colour: such points are drawn in a neutral grey.
    bool surveyedColour = true;
};

// The coloring of a view: `elevationLow` / `elevationHigh` are the cloud's lowest and highest z
// minus the local origin's z; `pointFormat` is the file's (formats without colour draw grey).
PointColoring pointColoring(const RenderSettings& settings, double elevationLow, double elevationHigh,
                            std::uint32_t pointFormat);

// The colour (0xRRGGBB) the point is drawn with when it is not highlighted as selected.
// `localZ` is its height relative to the local origin, `level` its node's octree level.
std::uint32_t displayedColor(const PointColoring& coloring, const PointRecord& point, double localZ,
                             std::uint32_t level);

// The colour mode's name in log lines ("colori reali" …); "?" for a number beyond the modes.
const char* colorModeName(std::uint32_t mode);

// A channel 0..1 as an 8-bit target stores it: clamped, scaled by 255, rounded to nearest even.
std::uint8_t channelToByte(float value);

}  // namespace ovcf
