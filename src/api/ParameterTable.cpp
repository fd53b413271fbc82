#include "api/ParameterTable.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "cloud/PointColors.h"

namespace ovcf {
namespace {

// Integer and choice values are truncated toward zero, never rounded; every integer range is
// non-negative, so the cast does exactly that.
std::uint32_t toCount(double v) { return static_cast<std::uint32_t>(v); }
// Only exactly 0.0 is false.
bool toFlag(double v) { return v != 0.0; }
double fromFlag(bool b) { return b ? 1.0 : 0.0; }
float toFloat(double v) { return static_cast<float>(v); }

constexpr std::uint64_t kBytesPerMb = std::uint64_t{1} << 20;

using S = ViewSettings;
using C = Camera;

// clang-format off
constexpr ParamDescriptor kTable[kParameterCount] = {
    {0, ParamChoice, 0, 2, 0, 1, 3, "view.mode",
     [](const S& s, const C&) { return double(s.render.viewMode); },
     [](double v, S& s, C&) { s.render.viewMode = toCount(v); }},
    {1, ParamChoice, 0, 14, 0, 1, 15, "color.mode",
     [](const S& s, const C&) { return double(s.render.colorMode); },
     [](double v, S& s, C&) { s.render.colorMode = toCount(v); }},
    {2, ParamChoice, 0, 1, 1, 1, 2, "point.sizeMode",
     [](const S& s, const C&) { return double(s.render.pointSizeMode); },
     [](double v, S& s, C&) { s.render.pointSizeMode = toCount(v); }},
    {3, ParamInteger, 1, 16, 1, 1, 0, "point.pixelSize",
     [](const S& s, const C&) { return double(s.render.pixelSize); },
     [](double v, S& s, C&) { s.render.pixelSize = float(toCount(v)); }},
    {4, ParamReal, 0.1, 32, 2, 0.1, 0, "point.size",
     [](const S& s, const C&) { return double(s.render.pointSize); },
     [](double v, S& s, C&) { s.render.pointSize = toFloat(v); }},
    {5, ParamReal, 1, 8, 1, 0.5, 0, "point.minSize",
     [](const S& s, const C&) { return double(s.render.minPointSize); },
     [](double v, S& s, C&) { s.render.minPointSize = toFloat(v); }},
    {6, ParamReal, 2, 64, 12, 1, 0, "point.maxSize",
     [](const S& s, const C&) { return double(s.render.maxPointSize); },
     [](double v, S& s, C&) { s.render.maxPointSize = toFloat(v); }},
    {7, ParamBoolean, 0, 1, 1, 1, 0, "point.round",
     [](const S& s, const C&) { return fromFlag(s.render.roundPoints); },
     [](double v, S& s, C&) { s.render.roundPoints = toFlag(v); }},
    {8, ParamBoolean, 0, 1, 1, 1, 0, "edl.enabled",
     [](const S& s, const C&) { return fromFlag(s.render.edlEnabled); },
     [](double v, S& s, C&) { s.render.edlEnabled = toFlag(v); }},
    {9, ParamReal, 0.05, 4, 0.4, 0.05, 0, "edl.strength",
     [](const S& s, const C&) { return double(s.render.edlStrength); },
     [](double v, S& s, C&) { s.render.edlStrength = toFloat(v); }},
    {10, ParamReal, 0.5, 5, 1.4, 0.1, 0, "edl.radius",
     [](const S& s, const C&) { return double(s.render.edlRadius); },
     [](double v, S& s, C&) { s.render.edlRadius = toFloat(v); }},
    {11, ParamReal, 0.005, 1, 0.35, 0.005, 0, "xray.opacity",
     [](const S& s, const C&) { return double(s.render.xrayOpacity); },
     [](double v, S& s, C&) { s.render.xrayOpacity = toFloat(v); }},
    {12, ParamInteger, 0, 2000, 0, 8, 0, "detail.threshold",
     [](const S& s, const C&) { return double(s.render.detailThreshold); },
     [](double v, S& s, C&) { s.render.detailThreshold = toCount(v); }},
    {13, ParamInteger, 100000, 500000000, 8000000, 100000, 0, "detail.pointBudget",
     [](const S& s, const C&) { return double(s.render.pointBudget); },
     [](double v, S& s, C&) { s.render.pointBudget = std::uint64_t(v); }},
    {14, ParamInteger, 128, 16384, 2048, 128, 0, "resources.gpuBudgetMb",
     [](const S& s, const C&) { return double(s.render.gpuBudgetBytes) / double(kBytesPerMb); },
     [](double v, S& s, C&) { s.render.gpuBudgetBytes = std::uint64_t(toCount(v)) * kBytesPerMb; }},
    {15, ParamReal, 5, 120, 45, 1, 0, "camera.fieldOfView",
     [](const S&, const C& c) { return c.fieldOfViewDegrees(); },
     [](double v, S&, C& c) { c.setFieldOfView(v); }},
    {16, ParamBoolean, 0, 1, 1, 1, 0, "cube.visible",
     [](const S& s, const C&) { return fromFlag(s.render.cubeVisible); },
     [](double v, S& s, C&) { s.render.cubeVisible = toFlag(v); }},
    {17, ParamInteger, 40, 300, 98, 2, 0, "cube.size",
     [](const S& s, const C&) { return double(s.render.cubeSize); },
     [](double v, S& s, C&) { s.render.cubeSize = toCount(v); }},
    {18, ParamBoolean, 0, 1, 1, 1, 0, "overlay.visible",
     [](const S& s, const C&) { return fromFlag(s.render.overlayVisible); },
     [](double v, S& s, C&) { s.render.overlayVisible = toFlag(v); }},
    {19, ParamInteger, 9, 32, 15, 1, 0, "overlay.textSize",
     [](const S& s, const C&) { return double(s.render.overlayTextSize); },
     [](double v, S& s, C&) { s.render.overlayTextSize = toCount(v); }},
    {20, ParamBoolean, 0, 1, 1, 1, 0, "background.gradient",
     [](const S& s, const C&) { return fromFlag(s.render.backgroundGradient); },
     [](double v, S& s, C&) { s.render.backgroundGradient = toFlag(v); }},
    {21, ParamBoolean, 0, 1, 1, 1, 0, "selection.highlight",
     [](const S& s, const C&) { return fromFlag(s.render.selectionHighlight); },
     [](double v, S& s, C&) { s.render.selectionHighlight = toFlag(v); }},
    {22, ParamChoice, 0, 4, 0, 1, 5, "selection.filter",
     [](const S& s, const C&) { return double(s.selection.filter); },
     [](double v, S& s, C&) { s.selection.filter = toCount(v); }},
    {23, ParamReal, kSpacingMin, kSpacingMax, 0.05, 0.01, 0, "filter.spacing",
     [](const S& s, const C&) { return s.selection.spacing; },
     [](double v, S& s, C&) { s.selection.setSpacing(v); }},
    {24, ParamChoice, 0, 1, 0, 1, 2, "filter.cloth.axis",
     [](const S& s, const C&) { return double(s.selection.clothAxis); },
     [](double v, S& s, C&) { s.selection.clothAxis = toCount(v); }},
    {25, ParamReal, kClothResolutionMin, kClothResolutionMax, 1, 0.05, 0, "filter.cloth.resolution",
     [](const S& s, const C&) { return s.selection.clothResolution; },
     [](double v, S& s, C&) { s.selection.setClothResolution(v); }},
    {26, ParamReal, kClothTensionMin, kClothTensionMax, 0.5, 0.05, 0, "filter.cloth.tension",
     [](const S& s, const C&) { return s.selection.clothTension; },
     [](double v, S& s, C&) { s.selection.setClothTension(v); }},
    {27, ParamReal, kClothOffsetMin, kClothOffsetMax, 0.2, 0.01, 0, "filter.cloth.offset",
     [](const S& s, const C&) { return s.selection.clothOffset; },
     [](double v, S& s, C&) { s.selection.setClothOffset(v); }},
    {28, ParamReal, kIsolatedRadiusMin, kIsolatedRadiusMax, 0.2, 0.01, 0, "filter.isolated.radius",
     [](const S& s, const C&) { return s.selection.isolatedRadius; },
     [](double v, S& s, C&) { s.selection.setIsolatedRadius(v); }},
    {29, ParamInteger, kIsolatedNeighborsMin, kIsolatedNeighborsMax, 5, 1, 0, "filter.isolated.neighbors",
     [](const S& s, const C&) { return double(s.selection.isolatedNeighbors); },
     [](double v, S& s, C&) { s.selection.setIsolatedNeighbors(toCount(v)); }},
    {30, ParamInteger, kIsolatedGroupMin, kIsolatedGroupMax, 1, 10, 0, "filter.isolated.group",
     [](const S& s, const C&) { return double(s.selection.isolatedGroup); },
     [](double v, S& s, C&) { s.selection.setIsolatedGroup(toCount(v)); }},
    {31, ParamReal, kColorToleranceMin, kColorToleranceMax, 8, 0.5, 0, "filter.color.tolerance",
     [](const S& s, const C&) { return s.selection.colorTolerance; },
     [](double v, S& s, C&) { s.selection.setColorTolerance(v); }},
    {32, ParamBoolean, 0, 1, 0, 1, 0, "filter.color.ignoreLightness",
     [](const S& s, const C&) { return fromFlag(s.selection.colorIgnoreLightness); },
     [](double v, S& s, C&) { s.selection.colorIgnoreLightness = toFlag(v); }},
};
// clang-format on

constexpr const char* kViewModeChoices[] = {"view.photorealistic", "view.technical", "view.xray"};
constexpr const char* kColorModeChoices[] = {
    "color.rgb",     "color.monochrome", "color.elevation", "color.grayscale",   "color.negative",
    "color.red",     "color.green",      "color.blue",      "color.average",     "color.hue",
    "color.lightness", "color.saturation", "color.intensity", "color.classification",
    "color.lodLevel"};
constexpr const char* kPointSizeChoices[] = {"pointSize.fixed", "pointSize.adaptive"};
constexpr const char* kFilterChoices[] = {"filter.none", "filter.spacing", "filter.cloth",
                                          "filter.isolated", "filter.color"};
constexpr const char* kClothAxisChoices[] = {"cloth.axis.vertical", "cloth.axis.view"};

constexpr const char* kCombineModeNames[] = {"sostituisci", "aggiungi", "sottrai"};

struct ChoiceList {
    const char* const* names;
    int count;
};

template <std::size_t N>
constexpr ChoiceList listOf(const char* const (&names)[N]) {
    return {names, static_cast<int>(N)};
}

ChoiceList choicesOf(int id) {
    switch (id) {
        case 0: return listOf(kViewModeChoices);
        case 1: return listOf(kColorModeChoices);
        case 2: return listOf(kPointSizeChoices);
        case 22: return listOf(kFilterChoices);
        case 24: return listOf(kClothAxisChoices);
        default: return {nullptr, 0};
    }
}

std::uint8_t channelByte(float c) {
    const double clamped = c < 0.0f ? 0.0 : (c > 1.0f ? 1.0 : double(c));
    return static_cast<std::uint8_t>(clamped * 255.0 + 0.5);
}

std::uint32_t packColor(const ColorRgbF& c) {
    return (std::uint32_t{channelByte(c.r)} << 16) | (std::uint32_t{channelByte(c.g)} << 8) |
           channelByte(c.b);
}

ColorRgbF unpackColor(std::uint32_t rgb) {
    return {float((rgb >> 16) & 0xFF) / 255.0f, float((rgb >> 8) & 0xFF) / 255.0f,
            float(rgb & 0xFF) / 255.0f};
}

// The colour of a float slot 0..3 (const or not, following the settings), or null.
template <class Render>
auto floatSlot(Render& render, int slot) -> decltype(&render.backgroundTop) {
    switch (slot) {
        case 0: return &render.backgroundTop;
        case 1: return &render.backgroundBottom;
        case 2: return &render.monochromeColor;
        case 3: return &render.highlightColor;
        default: return nullptr;
    }
}

}  // namespace

int parameterCount() { return kParameterCount; }

const ParamDescriptor* parameterDescriptor(int id) {
    if (id < 0 || id >= kParameterCount) return nullptr;
    const ParamDescriptor& row = kTable[id];
    return row.id == static_cast<std::uint32_t>(id) ? &row : nullptr;
}

bool fillParamInfo(int id, ParamInfo& out) {
    const ParamDescriptor* row = parameterDescriptor(id);
    if (!row) return false;
    std::memset(&out, 0, sizeof out);
    out.id = row->id;
    out.kind = row->kind;
    out.minimum = row->minimum;
    out.maximum = row->maximum;
    out.defaultValue = row->defaultValue;
    out.step = row->step;
    out.choiceCount = row->choiceCount;
    out.reserved = 0;
    copyParamKey(row->key, out.key);
    return true;
}

void copyParamKey(const char* key, char (&out)[kParamKeyCapacity]) {
    std::memset(out, 0, sizeof out);
    const std::size_t length = std::min(std::strlen(key), kParamKeyCapacity - 1);
    std::memcpy(out, key, length);
}

const char* choiceName(int id, int index) {
    const ParamDescriptor* row = parameterDescriptor(id);
    if (!row || row->kind != ParamChoice) return "";
    const ChoiceList list = choicesOf(id);
    if (index < 0 || index >= list.count) return "";
    return list.names[index];
}

double clampParameter(const ParamDescriptor& descriptor, double value) {
    if (value > descriptor.maximum) return descriptor.maximum;
    if (value < descriptor.minimum) return descriptor.minimum;
    return value;
}

double getParameter(int id, const ViewSettings& settings, const Camera& camera) {
    const ParamDescriptor* row = parameterDescriptor(id);
    return row ? row->get(settings, camera) : 0.0;
}

bool setParameter(int id, double value, ViewSettings& settings, Camera& camera) {
    const ParamDescriptor* row = parameterDescriptor(id);
    if (!row) return false;
    if (!std::isnan(value)) row->set(clampParameter(*row, value), settings, camera);
    return true;
}

std::uint32_t getColor(const ViewSettings& settings, int slot, bool& known) {
    known = slot >= 0 && slot < kColorSlotCount;
    if (!known) return 0;
    if (slot == 4) return settings.selection.colorReference;
    return packColor(*floatSlot(settings.render, slot));
}

bool setColor(ViewSettings& settings, int slot, std::uint32_t rgb) {
    if (slot == 4) {
        settings.selection.colorReference = rgb & 0xFFFFFF;
        return true;
    }
    ColorRgbF* target = floatSlot(settings.render, slot);
    if (!target) return false;
    *target = unpackColor(rgb);
    return true;
}

const char* colorModeDisplayName(int mode) { return mode < 0 ? "?" : colorModeName(static_cast<std::uint32_t>(mode)); }

const char* combineModeDisplayName(int mode) {
    constexpr int count = static_cast<int>(sizeof kCombineModeNames / sizeof kCombineModeNames[0]);
    return mode >= 0 && mode < count ? kCombineModeNames[mode] : "?";
}

}  // namespace ovcf
