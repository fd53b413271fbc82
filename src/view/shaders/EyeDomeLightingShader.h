// Fragment stage of "eye-dome lighting": darkens a pixel by how far its depth lies behind its
// neighbours' on a log scale, which outlines shapes without normals. Background is untouched.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kEyeDomeLightingFragment = R"glsl(#version 450 core
in vec2 vTexCoord;
layout(binding = 0) uniform sampler2D uColorTexture;
layout(binding = 1) uniform sampler2D uDepthTexture;
uniform vec2 uPixelSize;
uniform float uRadius;
uniform float uStrength;
uniform float uNear;
uniform float uFar;
out vec4 fragColor;

const vec2 kOffsets[8] = vec2[8](vec2(1.0, 0.0), vec2(-1.0, 0.0), vec2(0.0, 1.0), vec2(0.0, -1.0),
                                 vec2(0.7, 0.7), vec2(-0.7, 0.7), vec2(0.7, -0.7), vec2(-0.7, -0.7));

float linearDepth(float d) {
    float n = 2.0 * d - 1.0;
    return (2.0 * uNear * uFar) / (uFar + uNear - n * (uFar - uNear));
}

void main() {
    vec4 color = texture(uColorTexture, vTexCoord);
    float d0 = texture(uDepthTexture, vTexCoord).r;
    if (d0 >= 1.0) {
        fragColor = color;
        return;
    }
    float c = log2(linearDepth(d0));
    float sum = 0.0;
    for (int i = 0; i < 8; ++i) {
        float d = texture(uDepthTexture, vTexCoord + kOffsets[i] * uRadius * uPixelSize).r;
        float neighbour = d >= 1.0 ? uFar : linearDepth(d);
        sum += max(0.0, c - log2(neighbour));
    }
    float response = sum / 8.0;
    float shade = exp(-response * uStrength * 100.0);
    fragColor = vec4(color.rgb * shade, color.a);
}
)glsl";

}  // namespace ovcf::shaders
