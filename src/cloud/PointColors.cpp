#include "cloud/PointColors.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "cloud/RenderTypes.h"
#include "import/MemoryCloud.h"
#include "ovcf/FileFormat.h"

namespace ovcf {
namespace {

// Kept in the shader's evaluation order, without fused multiply-adds: the GPU rounds each
// single-precision step, and a different order may move a channel across a rounding boundary.
// Where the compiled shader's order is not the text's (the dot product), the code says so.
struct Vec3f {
    float r, g, b;
};

constexpr Vec3f kElevationStops[5] = {{0.20f, 0.30f, 0.70f}, {0.20f, 0.75f, 0.75f}, {0.30f, 0.75f, 0.30f},
                                      {0.90f, 0.85f, 0.35f}, {0.80f, 0.25f, 0.20f}};
constexpr Vec3f kLevelColors[8] = {{0.90f, 0.25f, 0.25f}, {0.95f, 0.60f, 0.20f}, {0.90f, 0.90f, 0.25f},
                                   {0.35f, 0.85f, 0.35f}, {0.25f, 0.80f, 0.80f}, {0.30f, 0.50f, 0.95f},
                                   {0.65f, 0.40f, 0.90f}, {0.95f, 0.45f, 0.75f}};

// Normalised vertex attributes as the vertex fetch makes them: the integer times the reciprocal
// of its largest value, both in single precision (not a correctly rounded quotient; the two
// differ in the last bit for some bytes, which moves colours that fall on a half step).
constexpr float kByteScale = static_cast<float>(1.0 / 255.0);
constexpr float kWordScale = static_cast<float>(1.0 / 65535.0);

const std::array<float, 256>& unitBytes() {
    static const std::array<float, 256> table = [] {
        std::array<float, 256> t{};
        for (int i = 0; i < 256; ++i) t[static_cast<std::size_t>(i)] = static_cast<float>(i) * kByteScale;
        return t;
    }();
    return table;
}

float mixf(float a, float b, float t) { return a * (1.0f - t) + b * t; }

Vec3f elevationRamp(float t) {
    const float s = std::clamp(t, 0.0f, 1.0f) * 4.0f;
    const int i = std::min(static_cast<int>(std::floor(s)), 3);
    const float f = s - static_cast<float>(i);
    const Vec3f& a = kElevationStops[i];
    const Vec3f& b = kElevationStops[i + 1];
    return {mixf(a.r, b.r, f), mixf(a.g, b.g, f), mixf(a.b, b.b, f)};
}

Vec3f classColor(int c) {
    switch (c) {
        case 2: return {0.55f, 0.40f, 0.25f};
        case 3: return {0.40f, 0.65f, 0.30f};
        case 4: return {0.30f, 0.60f, 0.25f};
        case 5: return {0.15f, 0.50f, 0.20f};
        case 6: return {0.80f, 0.45f, 0.40f};
        case 7: return {0.85f, 0.20f, 0.60f};
        case 9: return {0.25f, 0.45f, 0.85f};
        default: return {0.65f, 0.65f, 0.65f};
    }
}

struct Hsl {
    float hue, saturation, lightness;
};

Hsl toHsl(const Vec3f& c) {
    const float high = std::max(std::max(c.r, c.g), c.b);
    const float low = std::min(std::min(c.r, c.g), c.b);
    const float lightness = (high + low) / 2.0f;
    const float span = high - low;
    if (span < 1e-5f) return {0.0f, 0.0f, lightness};
    const float saturation = lightness > 0.5f ? span / (2.0f - high - low) : span / (high + low);
    float hue;
    if (high == c.r)
        hue = (c.g - c.b) / span + (c.g < c.b ? 6.0f : 0.0f);
    else if (high == c.g)
        hue = (c.b - c.r) / span + 2.0f;
    else
        hue = (c.r - c.g) / span + 4.0f;
    return {hue / 6.0f, saturation, lightness};
}

Vec3f pureHue(float h) {
    return {std::clamp(std::fabs(6.0f * h - 3.0f) - 1.0f, 0.0f, 1.0f),
            std::clamp(2.0f - std::fabs(6.0f * h - 2.0f), 0.0f, 1.0f),
            std::clamp(2.0f - std::fabs(6.0f * h - 4.0f), 0.0f, 1.0f)};
}

Vec3f grey(float v) { return {v, v, v}; }

Vec3f modeColor(const PointColoring& coloring, const PointRecord& point, double localZ, std::uint32_t level) {
    const std::array<float, 256>& unit = unitBytes();
    const Vec3f rgb = coloring.surveyedColour
                          ? Vec3f{unit[point.red], unit[point.green], unit[point.blue]}
                          : grey(unit[kGreyWithoutColour]);
    switch (coloring.mode) {
        case 0: return rgb;
        case 1: return {coloring.monochrome.r, coloring.monochrome.g, coloring.monochrome.b};
        case 2: {
            const float low = coloring.elevationLow, high = coloring.elevationHigh;
            return elevationRamp((static_cast<float>(localZ) - low) / std::max(high - low, 1e-6f));
        }
        case 3: return grey(rgb.r * 0.299f + (rgb.g * 0.587f + rgb.b * 0.114f));  // how dot() is summed
        case 4: return {1.0f - rgb.r, 1.0f - rgb.g, 1.0f - rgb.b};
        case 5: return grey(rgb.r);
        case 6: return grey(rgb.g);
        case 7: return grey(rgb.b);
        case 8: return grey((rgb.r + rgb.g + rgb.b) / 3.0f);
        case 9: {
            const Hsl hsl = toHsl(rgb);
            return hsl.saturation < 0.02f ? grey(hsl.lightness) : pureHue(hsl.hue);
        }
        case 10: return grey(toHsl(rgb).lightness);
        case 11: return grey(toHsl(rgb).saturation);
        case 12: return grey(std::sqrt(std::clamp(static_cast<float>(point.intensity) * kWordScale, 0.0f, 1.0f)));
        case 13: return classColor(point.classification);
        default: {
            const int l = static_cast<int>(std::nearbyint(static_cast<float>(level)));
            return kLevelColors[((l % 8) + 8) % 8];
        }
    }
}

constexpr const char* kColorModeNames[] = {
    "colori reali",          "monocromatica",           "gradazione altimetrica",
    "scala di grigi",        "immagine negativa",       "componente rossa",
    "componente verde",      "componente blu",          "componente media",
    "mappa delle tonalita'", "mappa della luminosita'", "mappa della saturazione",
    "intensita'",            "classificazione",         "livello di dettaglio"};

}  // namespace

const char* colorModeName(std::uint32_t mode) {
    constexpr std::uint32_t count = sizeof kColorModeNames / sizeof kColorModeNames[0];
    return mode < count ? kColorModeNames[mode] : "?";
}

PointColoring pointColoring(const RenderSettings& settings, double elevationLow, double elevationHigh,
                            std::uint32_t pointFormat) {
    PointColoring coloring;
    coloring.mode = std::min(settings.colorMode, static_cast<std::uint32_t>(ColorMode::LodLevel));
    coloring.monochrome = settings.monochromeColor;
    coloring.elevationLow = static_cast<float>(elevationLow);
    coloring.elevationHigh = static_cast<float>(elevationHigh);
    coloring.surveyedColour = pointFormat >= PointFormatXyzRgb;
    return coloring;
}

std::uint8_t channelToByte(float value) {
    if (!(value > 0.0f)) return 0;
    if (value >= 1.0f) return 255;
    return static_cast<std::uint8_t>(std::nearbyint(value * 255.0f));
}

std::uint32_t displayedColor(const PointColoring& coloring, const PointRecord& point, double localZ,
                             std::uint32_t level) {
    const Vec3f c = modeColor(coloring, point, localZ, level);
    return std::uint32_t{channelToByte(c.r)} << 16 | std::uint32_t{channelToByte(c.g)} << 8 | channelToByte(c.b);
}

}  // namespace ovcf
