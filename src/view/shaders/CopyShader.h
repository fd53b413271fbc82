// Fragment stage of "copia a schermo": the scene's colour as it is.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kCopyFragment = R"glsl(#version 450 core
in vec2 vTexCoord;
layout(binding = 0) uniform sampler2D uColorTexture;
out vec4 fragColor;

void main() {
    fragColor = texture(uColorTexture, vTexCoord);
}
)glsl";

}  // namespace ovcf::shaders
