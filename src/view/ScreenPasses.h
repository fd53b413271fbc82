// The full-screen passes of a frame, each one triangle from an empty vertex-array object:
// "sfondo" (the background gradient), "eye-dome lighting" and "copia a schermo" (the scene
// target composed onto the presented picture).
#pragma once

#include <cstdint>
#include <string>

#include "cloud/ViewSettings.h"
#include "navigation/Camera.h"

namespace ovcf {

class RenderTarget;

class ScreenPasses {
public:
    // Builds the three programs in that order and the empty vertex-array object.
    bool initializeGl(std::string& error);
    void releaseGl();

    // Into the bound framebuffer, without touching depth.
    void drawBackground(const RenderSettings& settings);
    // Composes the scene's colour (unit 0) and depth (unit 1) into the bound framebuffer.
    void drawEyeDomeLighting(const RenderTarget& scene, const RenderSettings& settings, const Camera& camera);
    void drawCopy(const RenderTarget& scene);

private:
    void drawTriangle(std::uint32_t program);

    std::uint32_t background_ = 0;
    std::uint32_t edl_ = 0;
    std::uint32_t copy_ = 0;
    std::uint32_t emptyVertexArray_ = 0;
    struct Locations {
        int topColor = -1, bottomColor = -1, gradient = -1;
        int pixelSize = -1, radius = -1, strength = -1, nearPlane = -1, farPlane = -1;
    } at_;
};

}  // namespace ovcf
