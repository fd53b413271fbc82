// The point pass of a frame: the "punti" program, the point vertex-array object and the
// per-frame and per-node uniforms, with the X-ray blend and the clip distances switched on
// only for the draw.
#pragma once

#include <cstdint>
#include <string>

#include "view/FrameScene.h"

namespace ovcf {

class BitmapTextures;

class PointPass {
public:
    bool buildProgram(std::string& error);
    // The 24-byte point layout on binding 0; the index (attribute 4) as an integer attribute.
    void createVertexArray();
    void releaseGl();

    // Draws the scene's nodes into the bound framebuffer; a map that is not ready is not read.
    void draw(const FrameScene& scene, const BitmapTextures& maps);

private:
    void setFrameUniforms(const FrameScene& scene, const BitmapTextures& maps, bool xray);

    std::uint32_t program_ = 0;
    std::uint32_t vertexArray_ = 0;
    struct Locations {
        int viewProjection = -1, cameraPosition = -1, colorMode = -1, projectionFactor = -1;
        int elevationRange = -1, pointSizeMode = -1, pointSize = -1, minPointSize = -1, maxPointSize = -1;
        int roundPoints = -1, monochromeColor = -1, opacity = -1, clipPlanes = -1;
        int deletionActive = -1, selectionActive = -1, selectionColor = -1;
        int nodeOrigin = -1, nodeSpacing = -1, nodeLevel = -1;
    } at_;
};

}  // namespace ovcf
