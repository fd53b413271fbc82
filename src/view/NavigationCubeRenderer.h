// Draws the navigation cube from the faces NavigationCube::visibleFaces() describes: shaded
// faces (the hovered one in the highlight colour), dark edges and the face names in the stroke
// font, all in window pixels with the "cubo di navigazione" program.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "navigation/NavigationCube.h"
#include "view/LineRenderer.h"

namespace ovcf {

// Colours of the cube, 0..1. A face's colour is its base times the shading of its facing.
struct CubeColors {
    float face[3] = {0.80f, 0.82f, 0.86f};
    float hovered[3] = {0.35f, 0.62f, 0.98f};
    float edge[3] = {0.16f, 0.18f, 0.22f};
    float label[3] = {0.08f, 0.09f, 0.11f};
};

// Shading of a face by how squarely it faces the viewer (0..1): 0.55 edge-on, 1 head-on.
float cubeFaceShade(double facing);

// The cube's geometry for one frame: triangles of the faces first, then the edge and label
// segments. Labels are skipped on faces seen too obliquely to read.
struct CubeMesh {
    std::vector<LineVertex> triangles;
    std::vector<LineVertex> lines;
};
CubeMesh buildCubeMesh(const std::vector<CubeFaceQuad>& faces, const CubeColors& colors);

class NavigationCubeRenderer {
public:
    bool initializeGl(std::string& error);
    void releaseGl();
    // Draws over whatever is bound, depth test off.
    void draw(const std::vector<CubeFaceQuad>& faces, int width, int height);

private:
    std::uint32_t program_ = 0;
    std::uint32_t vertexArray_ = 0;
    std::uint32_t buffer_ = 0;
    std::size_t capacity_ = 0;  // vertices
    int mvpLocation_ = -1;
    int brightnessLocation_ = -1;
    CubeColors colors_;
};

}  // namespace ovcf
