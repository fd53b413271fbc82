// The view's text: the host's overlay lines in the top-left corner on a dark panel, and text and
// solid rectangles for the counts panel and the cursor readout, all drawn from one glyph atlas
// through the "testo" program in window pixels (origin top-left).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "cloud/ViewSettings.h"
#include "view/GlyphAtlas.h"
#include "view/TextOverlayHook.h"

namespace ovcf {

struct OverlayLine {
    std::string text;
    ColorRgbF color;
};

// The host's text cut at every line feed, each line with the colour 0xRRGGBB as 0..1 floats;
// null or empty text gives no lines.
std::vector<OverlayLine> splitOverlayText(const char* text, std::uint32_t rgb);

struct TextItem {
    enum class Kind { Text, Rectangle };
    Kind kind = Kind::Text;
    float x = 0, y = 0;           // top-left corner in window pixels
    float width = 0, height = 0;  // rectangles only
    std::string text;             // see decodeText
    float color[4] = {1, 1, 1, 1};
};

// 32 bytes: position (normalised device coordinates), atlas coordinate, RGBA colour.
struct TextVertex {
    float position[2];
    float atlas[2];
    float color[4];
};
static_assert(sizeof(TextVertex) == 32, "32-byte text vertices");

// Six vertices (two triangles) for the rectangle or each glyph of the item's text; characters
// without a glyph are skipped.
void appendTextVertices(const GlyphAtlas& atlas, const TextItem& item, int width, int height,
                        std::vector<TextVertex>& vertices);

// Where the overlay lines go: this far from the view's top-left corner, with the panel reaching
// this far around the text, darkening what lies behind it.
constexpr int kOverlayMargin = 8;
constexpr int kOverlayPadding = 4;
constexpr float kOverlayPanelColor[4] = {0.0f, 0.0f, 0.0f, 0.55f};
constexpr ColorRgbF kCountsColor{0.95f, 0.95f, 0.80f};
constexpr ColorRgbF kReadoutColor{1.0f, 1.0f, 1.0f};
// The widest readout the box is sized for, and its place: 12 pixels from the left and bottom
// edges, the text 8 pixels inside on the left, top and bottom.
constexpr const char* kWidestReadout = "X -0000000.000   Y -0000000.000   Z -00000.000";
constexpr int kReadoutMargin = 12;
constexpr int kReadoutPadding = 8;

struct PixelRect {
    int x = 0, y = 0, width = 0, height = 0;
};

class TextOverlay final : public TextOverlayHook {
public:
    // Reads overlay.visible and overlay.textSize at every frame.
    explicit TextOverlay(const RenderSettings& settings) : settings_(settings) {}
    ~TextOverlay() override = default;
    TextOverlay(const TextOverlay&) = delete;
    TextOverlay& operator=(const TextOverlay&) = delete;

    // Replaces the host's lines (see splitOverlayText).
    void setOverlayText(const char* text, std::uint32_t rgb) { lines_ = splitOverlayText(text, rgb); }
    const std::vector<OverlayLine>& overlayLines() const { return lines_; }
    // The counts panel's line (selected, deleted, unsaved changes); empty hides the panel.
    void setCountsText(std::string text) { counts_ = std::move(text); }
    const std::string& countsText() const { return counts_; }
    // The cursor readout's line; empty hides its box.
    void setReadoutText(std::string text) { readout_ = std::move(text); }
    const std::string& readoutText() const { return readout_; }

    // Builds the atlas at overlay.textSize and its texture, the program and the vertex buffer.
    bool initializeGl(std::string& error) override;
    void releaseGl() override;
    // The overlay lines, when overlay.visible is on and there are any.
    void draw(int width, int height) override;

    // Draws the items in order into the bound framebuffer (the context current).
    void drawItems(const std::vector<TextItem>& items, int width, int height);

    bool ready() const { return program_ != 0; }
    const GlyphAtlas& atlas() const { return atlas_; }
    // The panel behind the overlay lines for the current atlas; empty without lines.
    PixelRect overlayPanel() const;
    // The readout's box in the bottom-left corner of a view `height` pixels high, sized for the
    // widest readout so that it keeps its width while the numbers change.
    PixelRect readoutBox(int height) const;

private:
    bool buildAtlas(int characterHeight, std::string& error);
    PixelRect panelAround(const std::vector<OverlayLine>& lines, int x, int y) const;
    void appendPanel(const std::vector<OverlayLine>& lines, const PixelRect& panel, std::vector<TextItem>& items) const;
    // A new atlas when overlay.textSize changed; the old one stays when that fails.
    void followTextSize();

    const RenderSettings& settings_;
    std::vector<OverlayLine> lines_;
    std::string counts_;
    std::string readout_;
    GlyphAtlas atlas_;
    int failedTextSize_ = 0;
    std::uint32_t program_ = 0;
    std::uint32_t texture_ = 0;
    std::uint32_t vertexArray_ = 0;
    std::uint32_t buffer_ = 0;
    std::size_t bufferVertices_ = 0;
    int useAtlasLocation_ = -1;
    std::vector<TextVertex> vertices_;
};

}  // namespace ovcf
