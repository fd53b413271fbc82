// A tiny built-in font of straight strokes for short labels (the navigation cube's face names)
// where the glyph atlas is not needed: capital letters on a 4 × 6 grid, y up. Lower-case
// letters are drawn as capitals; other characters leave a blank of one letter's width.
#pragma once

#include <string_view>
#include <vector>

namespace ovcf {

struct StrokeSegment {
    float x0, y0, x1, y1;
};

constexpr float kStrokeGlyphWidth = 4.0f;
constexpr float kStrokeGlyphHeight = 6.0f;
constexpr float kStrokeAdvance = 6.0f;  // glyph width plus the gap to the next letter

// Whether a character has strokes of its own.
bool strokeGlyphDefined(char c);

// Appends the text's segments, laid out from the origin along +x (baseline y = 0); returns the
// width of the text (0 for an empty one).
float layoutStrokeText(std::string_view text, std::vector<StrokeSegment>& out);

}  // namespace ovcf
