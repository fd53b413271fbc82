// Vertex stage of "punti": places, sizes and colours one point. Selection and deletion come
// from two bit maps in buffer textures indexed by the point's global number, so changing them
// never touches the vertex buffers; a deleted point is removed by a clip distance.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kPointsVertex = R"glsl(#version 450 core
layout(location = 0) in vec3 aPosition;
layout(location = 1) in vec4 aColor;
layout(location = 2) in float aIntensity;
layout(location = 3) in float aClassification;
layout(location = 4) in uint aIndex;

uniform mat4 uViewProjection;
uniform vec3 uCameraPosition;
uniform int uColorMode;
uniform float uProjectionFactor;
uniform vec2 uElevationRange;
uniform int uPointSizeMode;
uniform float uPointSize;
uniform float uMinPointSize;
uniform float uMaxPointSize;
uniform vec3 uMonochromeColor;
uniform float uOpacity;
uniform vec4 uClipPlanes[6];
uniform int uDeletionActive;
uniform int uSelectionActive;
layout(binding = 2) uniform usamplerBuffer uSelectedBits;
layout(binding = 3) uniform usamplerBuffer uDeletedBits;
uniform vec3 uSelectionColor;
uniform vec3 uNodeOrigin;
uniform float uNodeSpacing;
uniform float uNodeLevel;

out float gl_ClipDistance[7];
// Flat: a point has one vertex, and interpolating its colour could only add rounding.
flat out vec4 vColor;

const vec3 kElevationStops[5] = vec3[5](vec3(0.20, 0.30, 0.70), vec3(0.20, 0.75, 0.75), vec3(0.30, 0.75, 0.30),
                                        vec3(0.90, 0.85, 0.35), vec3(0.80, 0.25, 0.20));
const vec3 kLevelColors[8] = vec3[8](vec3(0.90, 0.25, 0.25), vec3(0.95, 0.60, 0.20), vec3(0.90, 0.90, 0.25),
                                     vec3(0.35, 0.85, 0.35), vec3(0.25, 0.80, 0.80), vec3(0.30, 0.50, 0.95),
                                     vec3(0.65, 0.40, 0.90), vec3(0.95, 0.45, 0.75));

bool bitSet(usamplerBuffer map, uint index) {
    uint texel = texelFetch(map, int(index >> 5u)).r;
    return (texel & (1u << (index & 31u))) != 0u;
}

vec3 elevationRamp(float t) {
    float s = clamp(t, 0.0, 1.0) * 4.0;
    int i = min(int(floor(s)), 3);
    return mix(kElevationStops[i], kElevationStops[i + 1], s - float(i));
}

vec3 classColor(int c) {
    switch (c) {
        case 2: return vec3(0.55, 0.40, 0.25);
        case 3: return vec3(0.40, 0.65, 0.30);
        case 4: return vec3(0.30, 0.60, 0.25);
        case 5: return vec3(0.15, 0.50, 0.20);
        case 6: return vec3(0.80, 0.45, 0.40);
        case 7: return vec3(0.85, 0.20, 0.60);
        case 9: return vec3(0.25, 0.45, 0.85);
        default: return vec3(0.65, 0.65, 0.65);
    }
}

// (hue 0..1, saturation, lightness)
vec3 toHsl(vec3 c) {
    float high = max(max(c.r, c.g), c.b);
    float low = min(min(c.r, c.g), c.b);
    float lightness = (high + low) / 2.0;
    float span = high - low;
    if (span < 1e-5) return vec3(0.0, 0.0, lightness);
    float saturation = lightness > 0.5 ? span / (2.0 - high - low) : span / (high + low);
    float hue;
    if (high == c.r) hue = (c.g - c.b) / span + (c.g < c.b ? 6.0 : 0.0);
    else if (high == c.g) hue = (c.b - c.r) / span + 2.0;
    else hue = (c.r - c.g) / span + 4.0;
    return vec3(hue / 6.0, saturation, lightness);
}

vec3 pureHue(float h) {
    return clamp(vec3(abs(6.0 * h - 3.0) - 1.0, 2.0 - abs(6.0 * h - 2.0), 2.0 - abs(6.0 * h - 4.0)), 0.0, 1.0);
}

vec3 modeColor(vec3 rgb, vec3 renderPosition) {
    switch (uColorMode) {
        case 0: return rgb;
        case 1: return uMonochromeColor;
        case 2: {
            float low = uElevationRange.x;
            float high = uElevationRange.y;
            return elevationRamp((renderPosition.z - low) / max(high - low, 1e-6));
        }
        case 3: return vec3(dot(rgb, vec3(0.299, 0.587, 0.114)));
        case 4: return vec3(1.0) - rgb;
        case 5: return vec3(rgb.r);
        case 6: return vec3(rgb.g);
        case 7: return vec3(rgb.b);
        case 8: return vec3((rgb.r + rgb.g + rgb.b) / 3.0);
        case 9: {
            vec3 hsl = toHsl(rgb);
            return hsl.y < 0.02 ? vec3(hsl.z) : pureHue(hsl.x);
        }
        case 10: return vec3(toHsl(rgb).z);
        case 11: return vec3(toHsl(rgb).y);
        case 12: return vec3(sqrt(clamp(aIntensity, 0.0, 1.0)));
        case 13: return classColor(int(round(aClassification)));
        default: {
            int level = int(round(uNodeLevel));
            return kLevelColors[((level % 8) + 8) % 8];
        }
    }
}

void main() {
    vec3 renderPosition = uNodeOrigin + aPosition;
    gl_Position = uViewProjection * vec4(renderPosition, 1.0);
    for (int i = 0; i < 6; ++i) gl_ClipDistance[i] = dot(uClipPlanes[i].xyz, renderPosition) + uClipPlanes[i].w;
    gl_ClipDistance[6] = (uDeletionActive != 0 && bitSet(uDeletedBits, aIndex)) ? -1.0 : 1.0;

    float distance = max(length(renderPosition - uCameraPosition), 0.0001);
    float size = uPointSizeMode == 0 ? uPointSize : uNodeSpacing * uProjectionFactor / distance * uPointSize;
    gl_PointSize = clamp(size, uMinPointSize, uMaxPointSize);

    if (uSelectionActive != 0 && bitSet(uSelectedBits, aIndex))
        vColor = vec4(uSelectionColor, min(1.0, uOpacity * 3.0));
    else
        vColor = vec4(modeColor(aColor.rgb, renderPosition), uOpacity);
}
)glsl";

}  // namespace ovcf::shaders
