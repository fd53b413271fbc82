// Fragment stage of "punti": round points cut from the square sprite, colour premultiplied by
// alpha for the X-ray blend (alpha is 1 in every other view mode).
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kPointsFragment = R"glsl(#version 450 core
flat in vec4 vColor;
uniform int uRoundPoints;
out vec4 fragColor;

void main() {
    if (uRoundPoints != 0) {
        vec2 p = gl_PointCoord * 2.0 - 1.0;
        if (dot(p, p) > 1.0) discard;
    }
    fragColor = vec4(vColor.rgb * vColor.a, vColor.a);
}
)glsl";

}  // namespace ovcf::shaders
