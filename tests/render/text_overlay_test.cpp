#include <cstdio>

#include "RenderTestSupport.h"
#include "view/GlyphAtlas.h"
#include "view/TextOverlay.h"

namespace ovcf::test {
namespace {

TEST(GlyphAtlas, SixteenByFourteenCellsForTheCodes32To255) {
    GlyphAtlas atlas;
    std::string error;
    ASSERT_TRUE(buildGlyphAtlas(15, atlas, error)) << error;
    EXPECT_GE(atlas.lineHeight, 15);
    EXPECT_EQ(atlas.width, 16 * atlas.cellWidth);
    EXPECT_EQ(atlas.height, 14 * atlas.cellHeight);
    ASSERT_EQ(atlas.image.size(), static_cast<std::size_t>(atlas.width) * atlas.height);

    for (const auto& [code, glyph] : {std::pair{0, -1}, {'\n', -1}, {31, -1}, {32, 0}, {255, 223}, {256, -1}})
        EXPECT_EQ(GlyphAtlas::glyphIndex(code), glyph) << code;

    // Glyph 223 (code 255) fills the last cell.
    EXPECT_FLOAT_EQ(atlas.rects[223].u1, 1.0f);
    EXPECT_FLOAT_EQ(atlas.rects[223].v1, 1.0f);

    // Printable characters move the pen, by no more than the widest character; the font is
    // monospaced, so 'i' and 'M' take the same room.
    for (int code = 32; code <= 255; ++code) {
        if (code >= 127 && code < 161) continue;  // DEL and the C1 controls
        const std::int32_t advance = atlas.advances[static_cast<std::size_t>(code - 32)];
        EXPECT_GT(advance, 0) << code;
        EXPECT_LE(advance, atlas.cellWidth - 2) << code;
    }
    EXPECT_EQ(atlas.advances['i' - 32], atlas.advances['M' - 32]);
}

// The largest coverage inside glyph i's cell.
int cellInk(const GlyphAtlas& atlas, int glyph) {
    const int left = (glyph % 16) * atlas.cellWidth;
    const int top = (glyph / 16) * atlas.cellHeight;
    int ink = 0;
    for (int y = top; y < top + atlas.cellHeight; ++y)
        for (int x = left; x < left + atlas.cellWidth; ++x)
            ink = std::max<int>(ink, atlas.image[static_cast<std::size_t>(y) * atlas.width + x]);
    return ink;
}

TEST(GlyphAtlas, GlyphsAreRenderedIntoTheirOwnCellsAtTheAskedSize) {
    GlyphAtlas small, large;
    std::string error;
    ASSERT_TRUE(buildGlyphAtlas(12, small, error)) << error;
    ASSERT_TRUE(buildGlyphAtlas(24, large, error)) << error;
    EXPECT_GT(large.lineHeight, small.lineHeight + 8);
    EXPECT_GT(large.cellWidth, small.cellWidth);
    EXPECT_EQ(cellInk(large, 0), 0);            // the space
    EXPECT_GE(cellInk(large, 'M' - 32), 200);   // solid strokes
    EXPECT_GE(cellInk(large, 0xE9 - 32), 200);  // 'é', read as Latin-1
    EXPECT_GE(cellInk(large, 223), 200);        // 'ÿ', the last glyph
}

TEST(OverlayText, LinesAreCutAtLineFeedsWithTheColourAsFractions) {
    std::vector<OverlayLine> lines = splitOverlayText("prima\nseconda\n", 0x00FF00);
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].text, "prima");
    EXPECT_EQ(lines[1].text, "seconda");
    EXPECT_EQ(lines[2].text, "");
    for (const OverlayLine& line : lines) {
        EXPECT_EQ(line.color.r, 0.0f);
        EXPECT_EQ(line.color.g, 1.0f);
        EXPECT_EQ(line.color.b, 0.0f);
    }
    lines = splitOverlayText("\n", 0xFF3366);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_FLOAT_EQ(lines[0].color.r, 1.0f);
    EXPECT_FLOAT_EQ(lines[0].color.g, 0x33 / 255.0f);
    EXPECT_FLOAT_EQ(lines[0].color.b, 0x66 / 255.0f);
    EXPECT_TRUE(splitOverlayText("", 0xFFFFFF).empty());
    EXPECT_TRUE(splitOverlayText(nullptr, 0xFFFFFF).empty());
}

TEST(OverlayText, Utf8AndLatin1BytesGiveTheirCharacters) {
    EXPECT_EQ(decodeText("A\xC3\xA9z"), (std::vector<std::uint32_t>{'A', 0xE9, 'z'}));
    EXPECT_EQ(decodeText("\xE9t\xE9"), (std::vector<std::uint32_t>{0xE9, 't', 0xE9}));
    EXPECT_EQ(decodeText("\xE2\x82\xAC"), (std::vector<std::uint32_t>{0x20AC}));
    EXPECT_EQ(decodeText("x\xC3"), (std::vector<std::uint32_t>{'x', 0xC3}));
    EXPECT_EQ(decodeText("\xC0\x80"), (std::vector<std::uint32_t>{0xC0, 0x80}));  // overlong
}

TEST(OverlayText, GlyphQuadsAdvanceByTheGlyphWidthAndSkipControlCharacters) {
    GlyphAtlas atlas;
    std::string error;
    ASSERT_TRUE(buildGlyphAtlas(15, atlas, error)) << error;
    TextItem item;
    item.x = 10;
    item.y = 20;
    item.text = "A\tB";
    std::vector<TextVertex> vertices;
    appendTextVertices(atlas, item, 200, 100, vertices);
    ASSERT_EQ(vertices.size(), 12u);
    auto pixelX = [](const TextVertex& v) { return (v.position[0] + 1.0f) * 100.0f; };
    auto pixelY = [](const TextVertex& v) { return (1.0f - v.position[1]) * 50.0f; };
    EXPECT_NEAR(pixelX(vertices[0]), 10.0f, 1e-4f);
    EXPECT_NEAR(pixelY(vertices[0]), 20.0f, 1e-4f);
    EXPECT_NEAR(pixelY(vertices[1]), 20.0f + atlas.cellHeight, 1e-4f);
    EXPECT_NEAR(pixelX(vertices[2]), 10.0f + atlas.cellWidth, 1e-4f);
    EXPECT_NEAR(pixelX(vertices[6]), 10.0f + atlas.advances['A' - 32], 1e-4f);
    EXPECT_FLOAT_EQ(vertices[6].atlas[0], atlas.rects['B' - 32].u0);
    EXPECT_FLOAT_EQ(vertices[8].atlas[1], atlas.rects['B' - 32].v1);
}

// Draws chosen items through the overlay, in place of the host's lines.
class ItemsHook : public TextOverlayHook {
public:
    explicit ItemsHook(TextOverlay& text) : text_(text) {}
    bool initializeGl(std::string& error) override { return text_.initializeGl(error); }
    void releaseGl() override { text_.releaseGl(); }
    void draw(int width, int height) override { text_.drawItems(items, width, height); }
    std::vector<TextItem> items;

private:
    TextOverlay& text_;
};

class TextOverlayDrawingTest : public RenderTest {
protected:
    static constexpr int kViewWidth = 300;
    static constexpr int kViewHeight = 240;

    void SetUp() override {
        renderer.setTextOverlay(&overlay);
        open(kViewWidth, kViewHeight);
        if (HasFatalFailure()) return;
        ASSERT_TRUE(overlay.ready());
    }

    // Whether a pixel is a shade of pure green over the dark panel.
    static bool greenOnly(const Rgb& c) { return c.r == c.b && c.g >= c.r; }

    TextOverlay overlay{settings};
};

TEST_F(TextOverlayDrawingTest, InitialisationBuildsTheAtlasAtTheTextSizeAndLogsIt) {
    renderer.releaseGl();
    settings.overlayTextSize = 20;
    LogCapture log;
    std::string error;
    ASSERT_TRUE(renderer.initializeGl(error)) << error;
    ASSERT_TRUE(overlay.ready());
    EXPECT_EQ(overlay.atlas().characterHeight, 20);
    char expected[128];
    std::snprintf(expected, sizeof expected, "atlante dei caratteri: %dx%d pixel, altezza riga %d", overlay.atlas().width,
                  overlay.atlas().height, overlay.atlas().lineHeight);
    EXPECT_TRUE(log.has(LogInfo, expected)) << expected;
    for (const LogCapture::Line& line : log.lines) EXPECT_LT(line.level, LogWarn) << line.text;

    // A later change of the size gives a new atlas at the next frame.
    overlay.setOverlayText("x", 0xFFFFFF);
    settings.overlayTextSize = 11;
    draw();
    EXPECT_EQ(overlay.atlas().characterHeight, 11);
}

TEST_F(TextOverlayDrawingTest, HostLinesAreDrawnInTheirColourOnTheirPanelAndNowhereElse) {
    settings.backgroundBottom = {0.5f, 0.5f, 0.5f};
    overlay.setOverlayText("HHHH\n\nMMMMMM", 0x00FF00);
    const Picture picture = draw();
    EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
    EXPECT_FALSE(glIsEnabled(GL_BLEND));

    const PixelRect panel = overlay.overlayPanel();
    const int lineHeight = overlay.atlas().lineHeight;
    ASSERT_EQ(panel.x, kOverlayMargin);
    ASSERT_EQ(panel.y, kOverlayMargin);
    ASSERT_EQ(panel.height, 3 * lineHeight + 2 * kOverlayPadding);
    ASSERT_LT(panel.x + panel.width, kViewWidth);
    const Rgb dark = toBytes(0.5 * (1.0 - kOverlayPanelColor[3]), 0.5 * (1.0 - kOverlayPanelColor[3]),
                             0.5 * (1.0 - kOverlayPanelColor[3]));
    EXPECT_TRUE(colorNear(picture.at(panel.x, panel.y), dark));
    EXPECT_TRUE(colorNear(picture.at(panel.x + panel.width - 1, panel.y + panel.height - 1), dark));

    // Green strokes per text row: rows of the first and third line have them, the empty one not.
    int greenRows[3] = {0, 0, 0};
    for (int y = 0; y < kViewHeight; ++y) {
        for (int x = 0; x < kViewWidth; ++x) {
            const Rgb c = picture.at(x, y);
            const bool inside =
                x >= panel.x && x < panel.x + panel.width && y >= panel.y && y < panel.y + panel.height;
            if (!inside) {
                ASSERT_EQ(c, background()) << x << ", " << y;
                continue;
            }
            ASSERT_TRUE(greenOnly(c)) << c << " at " << x << ", " << y;
            if (c.g >= 200 && c.r <= dark.r) {
                const int line = (y - panel.y - kOverlayPadding) / lineHeight;
                ASSERT_GE(line, 0);
                ASSERT_LT(line, 3);
                ++greenRows[line];
            }
        }
    }
    EXPECT_GT(greenRows[0], 20);
    EXPECT_EQ(greenRows[1], 0);
    EXPECT_GT(greenRows[2], greenRows[0]);  // six wide letters against four
}

TEST_F(TextOverlayDrawingTest, NothingIsDrawnWhenTheOverlayIsOffOrEmpty) {
    settings.backgroundBottom = {0.4f, 0.4f, 0.4f};
    overlay.setOverlayText("HHHH", 0xFF0000);
    for (const bool visible : {false, true}) {
        settings.overlayVisible = visible;
        if (visible) overlay.setOverlayText(nullptr, 0xFF0000);
        const Picture picture = draw();
        for (int y = 0; y < kViewHeight; ++y)
            for (int x = 0; x < kViewWidth; ++x) ASSERT_EQ(picture.at(x, y), background()) << x << ", " << y;
    }
}

TEST_F(TextOverlayDrawingTest, AGlyphReproducesItsAtlasCoverageAtThePen) {
    // Black behind white text: every pixel of the glyph's cell is its coverage.
    overlay.setOverlayText("M", 0xFFFFFF);
    const Picture picture = draw();
    const GlyphAtlas& atlas = overlay.atlas();
    const int cellLeft = kOverlayMargin + kOverlayPadding - 1;
    const int cellTop = kOverlayMargin + kOverlayPadding - 1;
    const int glyph = 'M' - 32;
    const int atlasLeft = (glyph % 16) * atlas.cellWidth;
    const int atlasTop = (glyph / 16) * atlas.cellHeight;
    int inked = 0;
    for (int j = 0; j < atlas.cellHeight; ++j) {
        for (int i = 0; i < atlas.cellWidth; ++i) {
            const int coverage = atlas.image[static_cast<std::size_t>(atlasTop + j) * atlas.width + atlasLeft + i];
            ASSERT_TRUE(colorNear(picture.at(cellLeft + i, cellTop + j), Rgb{coverage, coverage, coverage}))
                << i << ", " << j;
            inked += coverage > 0;
        }
    }
    EXPECT_GT(inked, 10);
}

TEST_F(TextOverlayDrawingTest, RectanglesCoverExactlyTheirPixelsAndBlendByAlpha) {
    ItemsHook hook(overlay);
    renderer.releaseGl();
    renderer.setTextOverlay(&hook);
    std::string error;
    ASSERT_TRUE(renderer.initializeGl(error)) << error;
    settings.backgroundBottom = {0.4f, 0.4f, 0.4f};

    TextItem red;
    red.kind = TextItem::Kind::Rectangle;
    red.x = 10, red.y = 10, red.width = 20, red.height = 5;
    red.color[0] = 1, red.color[1] = 0, red.color[2] = 0, red.color[3] = 1;
    TextItem veil = red;
    veil.x = 100, veil.y = 50, veil.width = 40, veil.height = 40;
    veil.color[0] = 0, veil.color[2] = 1, veil.color[3] = 0.5f;
    // A long text after them: the vertex buffer grows past its first size.
    TextItem text;
    text.x = 0, text.y = 200;
    text.text = std::string(400, '.');
    hook.items = {red, veil, text};
    const Picture picture = draw();
    renderer.releaseGl();
    renderer.setTextOverlay(&overlay);

    const Rgb redBytes{255, 0, 0};
    EXPECT_EQ(picture.at(10, 10), redBytes);
    EXPECT_EQ(picture.at(29, 14), redBytes);
    EXPECT_EQ(picture.at(30, 12), background());
    EXPECT_EQ(picture.at(9, 12), background());
    EXPECT_EQ(picture.at(15, 9), background());
    EXPECT_EQ(picture.at(15, 15), background());
    EXPECT_TRUE(colorNear(picture.at(120, 70), toBytes(0.2, 0.2, 0.7)));
    EXPECT_EQ(picture.at(99, 70), background());
    EXPECT_EQ(picture.at(140, 70), background());
    // Dots reach the right edge of the view.
    int white = 0;
    for (int y = 200; y < 200 + overlay.atlas().cellHeight; ++y)
        for (int x = kViewWidth - 30; x < kViewWidth; ++x) white += picture.at(x, y).r > 200;
    EXPECT_GT(white, 0);
}

}  // namespace
}  // namespace ovcf::test
