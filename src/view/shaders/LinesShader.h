// "riquadro elastico" and "cubo di navigazione": coloured lines (and the cube's filled faces)
// through one matrix; uBrightness brightens or dims a whole buffer without rewriting it.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kLinesVertex = R"glsl(#version 450 core
layout(location = 0) in vec3 aPosition;
layout(location = 1) in vec3 aColor;
uniform mat4 uMvp;
uniform float uBrightness;
out vec3 vColor;

void main() {
    gl_Position = uMvp * vec4(aPosition, 1.0);
    vColor = min(aColor * uBrightness, vec3(1.0));
}
)glsl";

inline constexpr const char* kFlatColorFragment = R"glsl(#version 450 core
in vec3 vColor;
out vec4 fragColor;

void main() {
    fragColor = vec4(vColor, 1.0);
}
)glsl";

}  // namespace ovcf::shaders
