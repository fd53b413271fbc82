// The text overlay's glyph atlas as the CPU knows it: the cell grid the platform's rasteriser
// filled (16 × 14 cells for the codes 32..255), each glyph's advance and its rectangle in
// texture coordinates, and the single-channel coverage image the texture is made from.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/FontRasterizer.h"

namespace ovcf {

// Texture coordinates of a glyph's cell, (u0, v0) its top-left corner; v grows downward with
// the image's rows, which are uploaded top row first.
struct GlyphRect {
    float u0 = 0, v0 = 0, u1 = 0, v1 = 0;
};

struct GlyphAtlas {
    int characterHeight = 0;
    int cellWidth = 0;
    int cellHeight = 0;
    int lineHeight = 0;
    int width = 0;
    int height = 0;
    std::array<std::int32_t, kGlyphCount> advances{};
    std::array<GlyphRect, kGlyphCount> rects{};
    std::vector<std::uint8_t> image;  // width × height coverage, top row first

    // The glyph of a character code, or -1 for codes that have none (below 32, above 255).
    static int glyphIndex(std::uint32_t code) {
        return code >= static_cast<std::uint32_t>(kFirstGlyphCode) &&
                       code < static_cast<std::uint32_t>(kFirstGlyphCode + kGlyphCount)
                   ? static_cast<int>(code) - kFirstGlyphCode
                   : -1;
    }
    // Pixels the pen moves over the text (characters without a glyph take none).
    int textWidth(const std::vector<std::uint32_t>& codes) const;
};

// Renders the atlas image at `characterHeight` pixels with the platform's font. False with
// "font creation failed", "creation of the drawing context failed" or "creation of the glyph
// bitmap failed".
bool buildGlyphAtlas(int characterHeight, GlyphAtlas& atlas, std::string& error);

// The characters of a text: UTF-8 sequences give their code point, any byte that does not
// start a valid sequence is taken as a Latin-1 character of its own.
std::vector<std::uint32_t> decodeText(std::string_view text);

}  // namespace ovcf
