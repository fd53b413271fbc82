// "testo": glyph quads and solid rectangles already in normalised device coordinates. Glyphs
// take their alpha from the atlas coverage; rectangles (uUseAtlas = 0) from the colour alone.
#pragma once

namespace ovcf::shaders {

inline constexpr const char* kTextVertex = R"glsl(#version 450 core
layout(location = 0) in vec2 aPosition;
layout(location = 1) in vec2 aAtlasCoord;
layout(location = 2) in vec4 aColor;
out vec2 vAtlasCoord;
out vec4 vColor;

void main() {
    gl_Position = vec4(aPosition, 0.0, 1.0);
    vAtlasCoord = aAtlasCoord;
    vColor = aColor;
}
)glsl";

inline constexpr const char* kTextFragment = R"glsl(#version 450 core
in vec2 vAtlasCoord;
in vec4 vColor;
uniform sampler2D uAtlas;
uniform int uUseAtlas;
out vec4 fragColor;

void main() {
    float coverage = uUseAtlas != 0 ? texture(uAtlas, vAtlasCoord).r : 1.0;
    fragColor = vec4(vColor.rgb, vColor.a * coverage);
}
)glsl";

}  // namespace ovcf::shaders
