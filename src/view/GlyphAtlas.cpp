#include "view/GlyphAtlas.h"

#include <utility>

namespace ovcf {

int GlyphAtlas::textWidth(const std::vector<std::uint32_t>& codes) const {
    int width = 0;
    for (const std::uint32_t code : codes) {
        const int glyph = glyphIndex(code);
        if (glyph >= 0) width += advances[static_cast<std::size_t>(glyph)];
    }
    return width;
}

bool buildGlyphAtlas(int characterHeight, GlyphAtlas& atlas, std::string& error) {
    RasterizedGlyphs glyphs;
    if (!rasterizeGlyphs(characterHeight, glyphs, error)) return false;
    atlas = GlyphAtlas{};
    atlas.characterHeight = characterHeight;
    atlas.cellWidth = glyphs.cellWidth;
    atlas.cellHeight = glyphs.cellHeight;
    atlas.lineHeight = glyphs.lineHeight;
    atlas.width = glyphs.width;
    atlas.height = glyphs.height;
    atlas.advances = glyphs.advances;
    atlas.image = std::move(glyphs.coverage);
    const float w = static_cast<float>(atlas.width);
    const float h = static_cast<float>(atlas.height);
    for (int i = 0; i < kGlyphCount; ++i) {
        const int x = (i % kAtlasColumns) * atlas.cellWidth;
        const int y = (i / kAtlasColumns) * atlas.cellHeight;
        atlas.rects[static_cast<std::size_t>(i)] = {x / w, y / h, (x + atlas.cellWidth) / w, (y + atlas.cellHeight) / h};
    }
    return true;
}

std::vector<std::uint32_t> decodeText(std::string_view text) {
    std::vector<std::uint32_t> codes;
    codes.reserve(text.size());
    const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    for (std::size_t i = 0; i < text.size();) {
        const std::uint8_t lead = byteAt(i);
        int extra = 0;
        std::uint32_t code = lead;
        std::uint32_t lowest = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            extra = 1, code = lead & 0x1F, lowest = 0x80;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            extra = 2, code = lead & 0x0F, lowest = 0x800;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            extra = 3, code = lead & 0x07, lowest = 0x10000;
        }
        bool valid = extra > 0;
        for (int k = 1; valid && k <= extra; ++k) {
            if (i + static_cast<std::size_t>(k) >= text.size() || (byteAt(i + k) & 0xC0) != 0x80) {
                valid = false;
                break;
            }
            code = (code << 6) | (byteAt(i + k) & 0x3F);
        }
        if (valid && code >= lowest && code <= 0x10FFFF && !(code >= 0xD800 && code <= 0xDFFF)) {
            codes.push_back(code);
            i += static_cast<std::size_t>(extra) + 1;
        } else {
            codes.push_back(lead);
            ++i;
        }
    }
    return codes;
}

}  // namespace ovcf
