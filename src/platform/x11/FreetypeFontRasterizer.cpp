// Fontconfig chooses the monospace face (DejaVu Sans Mono when installed) and FreeType renders
// each glyph as 8-bit antialiased coverage straight into its cell, on the font's baseline.
#include "platform/FontRasterizer.h"

#include <fontconfig/fontconfig.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <algorithm>

namespace ovcf {
namespace {

// The file (and face index) fontconfig matches for a monospace font; empty when none.
std::string findMonospaceFont(int& faceIndex) {
    faceIndex = 0;
    FcConfig* config = FcInitLoadConfigAndFonts();
    if (!config) return {};
    std::string path;
    FcPattern* pattern = FcPatternCreate();
    if (pattern) {
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>("DejaVu Sans Mono"));
        FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>("monospace"));
        FcPatternAddInteger(pattern, FC_SPACING, FC_MONO);
        FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
        FcConfigSubstitute(config, pattern, FcMatchPattern);
        FcDefaultSubstitute(pattern);
        FcResult result = FcResultNoMatch;
        if (FcPattern* match = FcFontMatch(config, pattern, &result)) {
            FcChar8* file = nullptr;
            if (FcPatternGetString(match, FC_FILE, 0, &file) == FcResultMatch && file)
                path = reinterpret_cast<const char*>(file);
            int index = 0;
            if (FcPatternGetInteger(match, FC_INDEX, 0, &index) == FcResultMatch) faceIndex = index;
            FcPatternDestroy(match);
        }
        FcPatternDestroy(pattern);
    }
    FcConfigDestroy(config);
    return path;
}

// Fontconfig's loading of its configuration is not safe from several threads at once, and views
// on several UI threads build their atlases together; the answer does not change while the
// process runs, so it is looked up once.
struct MonospaceFont {
    std::string path;
    int faceIndex = 0;
};
const MonospaceFont& monospaceFont() {
    static const MonospaceFont font = [] {
        MonospaceFont found;
        found.path = findMonospaceFont(found.faceIndex);
        return found;
    }();
    return font;
}

int ceilPixels(FT_Pos value) { return static_cast<int>((value + 63) >> 6); }
int floorPixels(FT_Pos value) { return static_cast<int>(value >> 6); }

// Copies a rendered glyph into the image with its top-left pen at (x, y) on the baseline
// `ascent` pixels below, cut at the cell's edges.
void copyGlyph(const FT_GlyphSlot slot, int cellLeft, int cellTop, int ascent, RasterizedGlyphs& glyphs) {
    const FT_Bitmap& bitmap = slot->bitmap;
    const int left = cellLeft + 1 + slot->bitmap_left;
    const int top = cellTop + 1 + ascent - slot->bitmap_top;
    for (unsigned row = 0; row < bitmap.rows; ++row) {
        const int y = top + static_cast<int>(row);
        if (y < cellTop || y >= cellTop + glyphs.cellHeight) continue;
        const unsigned char* source = bitmap.buffer + static_cast<std::ptrdiff_t>(row) * bitmap.pitch;
        for (unsigned column = 0; column < bitmap.width; ++column) {
            const int x = left + static_cast<int>(column);
            if (x < cellLeft || x >= cellLeft + glyphs.cellWidth) continue;
            std::uint8_t value = 0;
            if (bitmap.pixel_mode == FT_PIXEL_MODE_GRAY)
                value = source[column];
            else if (bitmap.pixel_mode == FT_PIXEL_MODE_MONO)
                value = (source[column >> 3] & (0x80 >> (column & 7))) ? 255 : 0;
            std::uint8_t& target = glyphs.coverage[static_cast<std::size_t>(y) * glyphs.width + x];
            target = std::max(target, value);
        }
    }
}

}  // namespace

bool rasterizeGlyphs(int characterHeight, RasterizedGlyphs& glyphs, std::string& error) {
    glyphs = RasterizedGlyphs{};
    FT_Library library = nullptr;
    if (FT_Init_FreeType(&library) != 0) {
        error = "creation of the drawing context failed";
        return false;
    }
    const int faceIndex = monospaceFont().faceIndex;
    const std::string& path = monospaceFont().path;
    FT_Face face = nullptr;
    if (path.empty() || characterHeight < 1 || FT_New_Face(library, path.c_str(), faceIndex, &face) != 0 ||
        FT_Set_Pixel_Sizes(face, 0, static_cast<FT_UInt>(characterHeight)) != 0) {
        if (face) FT_Done_Face(face);
        FT_Done_FreeType(library);
        error = "font creation failed";
        return false;
    }

    const int ascent = ceilPixels(face->size->metrics.ascender);
    const int descent = -floorPixels(face->size->metrics.descender);
    glyphs.lineHeight = ascent + descent;
    // The widest character: its advance or its ink, whichever reaches farther.
    int widest = 0;
    for (int i = 0; i < kGlyphCount; ++i) {
        if (FT_Load_Char(face, static_cast<FT_ULong>(kFirstGlyphCode + i), FT_LOAD_DEFAULT) != 0) continue;
        const FT_Glyph_Metrics& metrics = face->glyph->metrics;
        glyphs.advances[i] = static_cast<std::int32_t>((face->glyph->advance.x + 32) >> 6);
        widest = std::max({widest, glyphs.advances[i], ceilPixels(metrics.horiBearingX + metrics.width)});
    }
    glyphs.cellWidth = widest + 2;
    glyphs.cellHeight = glyphs.lineHeight + 2;
    glyphs.width = kAtlasColumns * glyphs.cellWidth;
    glyphs.height = kAtlasRows * glyphs.cellHeight;
    if (widest < 1 || glyphs.lineHeight < 1) {
        FT_Done_Face(face);
        FT_Done_FreeType(library);
        error = "creation of the glyph bitmap failed";
        return false;
    }
    glyphs.coverage.assign(static_cast<std::size_t>(glyphs.width) * glyphs.height, 0);

    for (int i = 0; i < kGlyphCount; ++i) {
        if (FT_Load_Char(face, static_cast<FT_ULong>(kFirstGlyphCode + i), FT_LOAD_RENDER | FT_LOAD_TARGET_NORMAL) !=
            0)
            continue;
        copyGlyph(face->glyph, (i % kAtlasColumns) * glyphs.cellWidth, (i / kAtlasColumns) * glyphs.cellHeight, ascent,
                  glyphs);
    }
    FT_Done_Face(face);
    FT_Done_FreeType(library);
    return true;
}

}  // namespace ovcf
