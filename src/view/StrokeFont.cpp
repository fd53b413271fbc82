#include "view/StrokeFont.h"

namespace ovcf {
namespace {

// Per letter A..Z: polylines separated by blanks, each point two digits (x 0..4, y 0..6).
constexpr const char* kGlyphs[26] = {
    "0004264440 0343",                 // A
    "00063645443303 3342413000",       // B
    "461605011040",                    // C
    "00062644422000",                  // D
    "46060040 0333",                   // E
    "460600 0333",                     // F
    "461605011030414323",              // G
    "0006 4046 0343",                  // H
    "1636 1030 2620",                  // I
    "4641301001",                      // J
    "0600 460340",                     // K
    "060040",                          // L
    "0006234640",                      // M
    "00064046",                        // N
    "100105163645413010",              // O
    "00063645443303",                  // P
    "100105163645413010 2240",         // Q
    "00063645443303 2340",             // R
    "453616050413334241301001",        // S
    "0646 2620",                       // T
    "060110304146",                    // U
    "062046",                          // V
    "0600234046",                      // W
    "0640 0046",                       // X
    "062346 2320",                     // Y
    "06460040",                        // Z
};

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }

float digit(char c) { return static_cast<float>(c - '0'); }

}  // namespace

bool strokeGlyphDefined(char c) {
    c = upper(c);
    return c >= 'A' && c <= 'Z';
}

float layoutStrokeText(std::string_view text, std::vector<StrokeSegment>& out) {
    float pen = 0.0f;
    for (char c : text) {
        c = upper(c);
        if (c >= 'A' && c <= 'Z') {
            const std::string_view glyph = kGlyphs[c - 'A'];
            std::size_t i = 0;
            while (i < glyph.size()) {
                // One polyline: consecutive points until a blank or the end.
                std::size_t end = glyph.find(' ', i);
                if (end == std::string_view::npos) end = glyph.size();
                for (std::size_t p = i; p + 3 < end; p += 2)
                    out.push_back({pen + digit(glyph[p]), digit(glyph[p + 1]), pen + digit(glyph[p + 2]),
                                   digit(glyph[p + 3])});
                i = end + 1;
            }
        }
        pen += kStrokeAdvance;
    }
    return text.empty() ? 0.0f : pen - (kStrokeAdvance - kStrokeGlyphWidth);
}

}  // namespace ovcf
