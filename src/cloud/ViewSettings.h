// Every setting of a view that the host can change through the parameter table and the colour
// and combine-mode calls. A new view starts with these defaults.
#pragma once

#include <cstdint>

namespace ovcf {

struct ColorRgbF {
    float r = 0.0f;
    float g = 0.0f;
    float b = 0.0f;
};

// Read by the renderer, the node loader, the navigation cube and the text overlay.
struct RenderSettings {
    std::uint32_t viewMode = 0;       // 0 photorealistic, 1 technical, 2 X-ray
    std::uint32_t colorMode = 0;      // 0..14
    std::uint32_t pointSizeMode = 1;  // 0 fixed, 1 adaptive
    float pixelSize = 1.0f;           // whole pixels, kept as a float for the shader
    float pointSize = 2.0f;
    float minPointSize = 1.0f;
    float maxPointSize = 12.0f;
    bool roundPoints = true;
    bool edlEnabled = true;
    float edlStrength = 0.4f;
    float edlRadius = 1.4f;
    float xrayOpacity = 0.35f;
    std::uint32_t detailThreshold = 0;         // pixels
    std::uint64_t pointBudget = 8000000;       // points
    std::uint64_t gpuBudgetBytes = 2048ull << 20;
    bool cubeVisible = true;
    std::uint32_t cubeSize = 98;               // pixels
    bool overlayVisible = true;
    std::uint32_t overlayTextSize = 15;        // pixels
    bool backgroundGradient = true;
    bool selectionHighlight = true;

    ColorRgbF backgroundTop{0.16f, 0.19f, 0.24f};
    ColorRgbF backgroundBottom{0.04f, 0.05f, 0.07f};
    ColorRgbF monochromeColor{0.82f, 0.82f, 0.80f};
    ColorRgbF highlightColor{1.0f, 0.15f, 0.80f};
};

// Bounds of the filter settings: the setters below clamp to them as the parameter table does,
// because the filters are also set from inside the module.
constexpr double kSpacingMin = 0.001, kSpacingMax = 100.0;
constexpr double kClothResolutionMin = 0.02, kClothResolutionMax = 50.0;
constexpr double kClothTensionMin = 0.0, kClothTensionMax = 1.0;
constexpr double kClothOffsetMin = 0.005, kClothOffsetMax = 20.0;
constexpr double kIsolatedRadiusMin = 0.01, kIsolatedRadiusMax = 50.0;
constexpr std::uint32_t kIsolatedNeighborsMin = 1, kIsolatedNeighborsMax = 200;
constexpr std::uint32_t kIsolatedGroupMin = 1, kIsolatedGroupMax = 10000;
constexpr double kColorToleranceMin = 0.5, kColorToleranceMax = 100.0;

// Read by the selection engine and its filters.
struct SelectionSettings {
    std::uint32_t combineMode = 0;   // 0 replace, 1 add, 2 subtract
    std::uint32_t filter = 0;        // 0 none, 1 spacing, 2 cloth, 3 isolated, 4 colour
    double spacing = 0.05;           // metres
    std::uint32_t clothAxis = 0;     // 0 vertical, 1 view direction
    double clothResolution = 1.0;
    double clothTension = 0.5;
    double clothOffset = 0.2;
    double isolatedRadius = 0.2;
    std::uint32_t isolatedNeighbors = 5;
    std::uint32_t isolatedGroup = 1;
    double colorTolerance = 8.0;
    bool colorIgnoreLightness = false;
    std::uint32_t colorReference = 0xFFFFFF;  // 0xRRGGBB

    void setSpacing(double metres);
    void setClothResolution(double value);
    void setClothTension(double value);
    void setClothOffset(double value);
    void setIsolatedRadius(double metres);
    void setIsolatedNeighbors(std::uint32_t count);
    void setIsolatedGroup(std::uint32_t count);
    void setColorTolerance(double value);
    // Modes above 2 are ignored; returns whether the mode was taken.
    bool setCombineMode(std::uint32_t mode);
};

struct ViewSettings {
    RenderSettings render;
    SelectionSettings selection;
};

}  // namespace ovcf
