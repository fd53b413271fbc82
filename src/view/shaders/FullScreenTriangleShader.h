// Vertex stage of the screen passes: one triangle covering the view, no vertex buffer needed.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kFullScreenTriangleVertex = R"glsl(#version 450 core
out vec2 vTexCoord;

void main() {
    vec2 p = vec2(float((gl_VertexID << 1) & 2), float(gl_VertexID & 2));
    vTexCoord = p;
    gl_Position = vec4(p * 2.0 - 1.0, 0.0, 1.0);
}
)glsl";

}  // namespace ovcf::shaders
