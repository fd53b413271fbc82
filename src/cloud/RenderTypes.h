// The render enumerations and the records the node loader hands to the renderer.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

// Follows the order of the host's colour menu (the choice keys of "color.mode").
enum class ColorMode : std::uint32_t {
    Rgb = 0,
    Monochrome = 1,
    Elevation = 2,
    Grayscale = 3,
    Negative = 4,
    Red = 5,
    Green = 6,
    Blue = 7,
    Average = 8,
    Hue = 9,
    Lightness = 10,
    Saturation = 11,
    Intensity = 12,
    Classification = 13,
    LodLevel = 14,
};

enum class ViewMode : std::uint32_t { Photorealistic = 0, Technical = 1, XRay = 2 };
enum class PointSizeMode : std::uint32_t { Fixed = 0, Adaptive = 1 };

// One point in a node's vertex buffer.
struct PointVertex {
    float x, y, z;                // relative to the node's origin, metres
    std::uint8_t r, g, b, a;      // surveyed colour; a is not read
    std::uint16_t intensity;      // normalised 0..1 by the shader
    std::uint16_t classification;
    std::uint32_t index;          // global point index in the file
};
static_assert(sizeof(PointVertex) == 24, "24-byte point vertices");
static_assert(offsetof(PointVertex, r) == 12 && offsetof(PointVertex, intensity) == 16 &&
                  offsetof(PointVertex, classification) == 18 && offsetof(PointVertex, index) == 20,
              "point vertex layout");

// A resident node as the point pass draws it.
struct DrawableNode {
    std::uint32_t buffer = 0;      // GL buffer name holding PointVertex records
    std::uint32_t pointCount = 0;  // points to draw (the leading part of the buffer)
    float origin[3] = {0, 0, 0};   // node origin in render space
    float spacing = 0.0f;          // typical point spacing in metres
    std::uint32_t level = 0;
};

// A clip plane as (unit normal, offset): inside where dot(n, p) + offset >= 0.
struct ClipPlane {
    float normal[3] = {0, 0, 0};
    float offset = 1.0f;  // (0, 0, 0, 1) never clips
};

}  // namespace ovcf
