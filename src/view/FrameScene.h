// Everything one frame draws, gathered by the view controller and read by the renderer.
// Nothing here is owned: the camera, settings, nodes and line vertices stay the caller's and
// must outlive the drawFrame call.
#pragma once

#include <array>
#include <span>

#include "cloud/RenderTypes.h"
#include "cloud/ViewSettings.h"
#include "navigation/Camera.h"
#include "navigation/NavigationCube.h"
#include "view/LineRenderer.h"

namespace ovcf {

struct FrameScene {
    FrameScene(const Camera& frameCamera, const RenderSettings& frameSettings)
        : camera(frameCamera), settings(frameSettings), width(frameCamera.viewportWidth),
          height(frameCamera.viewportHeight) {}

    const Camera& camera;
    const RenderSettings& settings;
    int width;   // view size in pixels; values below 1 count as 1
    int height;

    // The nodes chosen for this frame, all resident.
    std::span<const DrawableNode> nodes;
    // Lowest and highest z of the cloud in render space (elevation colours).
    float elevationLow = 0.0f;
    float elevationHigh = 1.0f;

    bool clipBoxActive = false;
    std::array<ClipPlane, 6> clipPlanes{};  // used while the clip box is active

    // At least one point is selected / deleted: only then does the shader read the bit maps.
    bool selectionActive = false;
    bool deletionActive = false;

    // Null, or the cube to draw in the top-right corner (it hides itself when switched off).
    const NavigationCube* cube = nullptr;

    // Clip-box edges and plane markers in render space, depth-tested against the points.
    std::span<const LineDrawing> sceneLines;
    // Rubber band and polygon outline in window pixels (origin top-left), drawn over the frame.
    std::span<const LineDrawing> overlayLines;
};

}  // namespace ovcf
