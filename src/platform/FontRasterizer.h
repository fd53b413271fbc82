// The platform's font rasteriser behind the text overlay's glyph atlas: one monospace font
// rendered once into a grid of cells, 16 columns by 14 rows, one cell for each of the character
// codes 32 to 255 (Latin-1), each glyph drawn one pixel in from its cell's top-left corner.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace ovcf {

constexpr int kFirstGlyphCode = 32;
constexpr int kGlyphCount = 224;  // codes 32..255
constexpr int kAtlasColumns = 16;
constexpr int kAtlasRows = 14;

struct RasterizedGlyphs {
    int cellWidth = 0;   // the font's widest character + 2
    int cellHeight = 0;  // the font's height + 2
    int lineHeight = 0;  // the font's height
    int width = 0;       // kAtlasColumns × cellWidth
    int height = 0;      // kAtlasRows × cellHeight
    std::array<std::int32_t, kGlyphCount> advances{};  // pixels, glyph i is code 32 + i
    std::vector<std::uint8_t> coverage;                 // width × height, top row first, 0..255
};

// Renders the glyphs of the font at `characterHeight` pixels (the character height, not the
// cell height). False with an English message when the font, the drawing context or the
// bitmap cannot be made.
bool rasterizeGlyphs(int characterHeight, RasterizedGlyphs& glyphs, std::string& error);

}  // namespace ovcf
