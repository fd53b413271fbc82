// Fragment stage of "sfondo": the vertical gradient from the bottom to the top colour.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kBackgroundFragment = R"glsl(#version 450 core
in vec2 vTexCoord;
uniform vec3 uTopColor;
uniform vec3 uBottomColor;
uniform int uGradient;
out vec4 fragColor;

void main() {
    vec3 color = uGradient != 0 ? mix(uBottomColor, uTopColor, clamp(vTexCoord.y, 0.0, 1.0)) : uBottomColor;
    fragColor = vec4(color, 1.0);
}
)glsl";

}  // namespace ovcf::shaders
