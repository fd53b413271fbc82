#include "view/TextOverlay.h"

#include <glad/gl.h>

#include <algorithm>
#include <cstddef>

#include "core/Log.h"
#include "view/ShaderBuild.h"
#include "view/shaders/TextShader.h"

namespace ovcf {
namespace {

// overlay.textSize arrives clamped by the parameter table; this only keeps a direct setting sane.
int characterHeightOf(const RenderSettings& settings) {
    return static_cast<int>(std::clamp<std::uint32_t>(settings.overlayTextSize, 4, 256));
}

void appendQuad(float x0, float y0, float x1, float y1, const GlyphRect& rect, const float color[4], int width,
                int height, std::vector<TextVertex>& vertices) {
    const float w = static_cast<float>(std::max(width, 1));
    const float h = static_cast<float>(std::max(height, 1));
    auto corner = [&](float x, float y, float u, float v) {
        TextVertex vertex{{x * 2.0f / w - 1.0f, 1.0f - y * 2.0f / h}, {u, v}, {color[0], color[1], color[2], color[3]}};
        vertices.push_back(vertex);
    };
    corner(x0, y0, rect.u0, rect.v0);
    corner(x0, y1, rect.u0, rect.v1);
    corner(x1, y1, rect.u1, rect.v1);
    corner(x0, y0, rect.u0, rect.v0);
    corner(x1, y1, rect.u1, rect.v1);
    corner(x1, y0, rect.u1, rect.v0);
}

}  // namespace

std::vector<OverlayLine> splitOverlayText(const char* text, std::uint32_t rgb) {
    std::vector<OverlayLine> lines;
    if (!text || !*text) return lines;
    const ColorRgbF color{static_cast<float>((rgb >> 16) & 0xFF) / 255.0f, static_cast<float>((rgb >> 8) & 0xFF) / 255.0f,
                          static_cast<float>(rgb & 0xFF) / 255.0f};
    const std::string_view all(text);
    std::size_t start = 0;
    while (true) {
        const std::size_t end = all.find('\n', start);
        lines.push_back({std::string(all.substr(start, end == std::string_view::npos ? end : end - start)), color});
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    return lines;
}

void appendTextVertices(const GlyphAtlas& atlas, const TextItem& item, int width, int height,
                        std::vector<TextVertex>& vertices) {
    if (item.kind == TextItem::Kind::Rectangle) {
        appendQuad(item.x, item.y, item.x + item.width, item.y + item.height, GlyphRect{}, item.color, width, height,
                   vertices);
        return;
    }
    float pen = item.x;
    for (const std::uint32_t code : decodeText(item.text)) {
        const int glyph = GlyphAtlas::glyphIndex(code);
        if (glyph < 0) continue;
        appendQuad(pen, item.y, pen + static_cast<float>(atlas.cellWidth), item.y + static_cast<float>(atlas.cellHeight),
                   atlas.rects[static_cast<std::size_t>(glyph)], item.color, width, height, vertices);
        pen += static_cast<float>(atlas.advances[static_cast<std::size_t>(glyph)]);
    }
}

bool TextOverlay::buildAtlas(int characterHeight, std::string& error) {
    GlyphAtlas atlas;
    if (!buildGlyphAtlas(characterHeight, atlas, error)) return false;
    GLuint texture = 0;
    glCreateTextures(GL_TEXTURE_2D, 1, &texture);
    glTextureStorage2D(texture, 1, GL_R8, atlas.width, atlas.height);
    glTextureParameteri(texture, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTextureParameteri(texture, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTextureParameteri(texture, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTextureParameteri(texture, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    GLint alignment = 4;
    glGetIntegerv(GL_UNPACK_ALIGNMENT, &alignment);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);  // rows of single bytes need not be 4-aligned
    glTextureSubImage2D(texture, 0, 0, 0, atlas.width, atlas.height, GL_RED, GL_UNSIGNED_BYTE, atlas.image.data());
    glPixelStorei(GL_UNPACK_ALIGNMENT, alignment);
    if (texture_) glDeleteTextures(1, &texture_);
    texture_ = texture;
    atlas_ = std::move(atlas);
    logLine(LogInfo, "atlante dei caratteri: %dx%d pixel, altezza riga %d", atlas_.width, atlas_.height,
            atlas_.lineHeight);
    return true;
}

bool TextOverlay::initializeGl(std::string& error) {
    releaseGl();
    if (!buildAtlas(characterHeightOf(settings_), error)) return false;
    if (!buildProgram("testo", shaders::kTextVertex, shaders::kTextFragment, program_, error)) {
        releaseGl();
        return false;
    }
    useAtlasLocation_ = glGetUniformLocation(program_, "uUseAtlas");
    glProgramUniform1i(program_, glGetUniformLocation(program_, "uAtlas"), 0);
    glCreateBuffers(1, &buffer_);
    glCreateVertexArrays(1, &vertexArray_);
    glVertexArrayVertexBuffer(vertexArray_, 0, buffer_, 0, sizeof(TextVertex));
    const GLuint sizes[] = {2, 2, 4};
    const GLuint offsets[] = {offsetof(TextVertex, position), offsetof(TextVertex, atlas), offsetof(TextVertex, color)};
    for (GLuint attribute = 0; attribute < 3; ++attribute) {
        glEnableVertexArrayAttrib(vertexArray_, attribute);
        glVertexArrayAttribFormat(vertexArray_, attribute, static_cast<GLint>(sizes[attribute]), GL_FLOAT, GL_FALSE,
                                  offsets[attribute]);
        glVertexArrayAttribBinding(vertexArray_, attribute, 0);
    }
    failedTextSize_ = 0;
    return true;
}

void TextOverlay::releaseGl() {
    if (vertexArray_) glDeleteVertexArrays(1, &vertexArray_);
    if (buffer_) glDeleteBuffers(1, &buffer_);
    if (texture_) glDeleteTextures(1, &texture_);
    if (program_) glDeleteProgram(program_);
    vertexArray_ = buffer_ = texture_ = program_ = 0;
    bufferVertices_ = 0;
}

void TextOverlay::followTextSize() {
    const int wanted = characterHeightOf(settings_);
    if (wanted == atlas_.characterHeight || wanted == failedTextSize_) return;
    std::string error;
    if (buildAtlas(wanted, error)) {
        failedTextSize_ = 0;
        return;
    }
    failedTextSize_ = wanted;
    logLine(LogWarn, "%s", error.c_str());
}

PixelRect TextOverlay::panelAround(const std::vector<OverlayLine>& lines, int x, int y) const {
    if (lines.empty() || atlas_.lineHeight <= 0) return {};
    int widest = 0;
    for (const OverlayLine& line : lines) widest = std::max(widest, atlas_.textWidth(decodeText(line.text)));
    return {x, y, widest + 2 * kOverlayPadding, static_cast<int>(lines.size()) * atlas_.lineHeight + 2 * kOverlayPadding};
}

PixelRect TextOverlay::overlayPanel() const { return panelAround(lines_, kOverlayMargin, kOverlayMargin); }

PixelRect TextOverlay::readoutBox(int height) const {
    const int boxHeight = atlas_.lineHeight + 2 * kReadoutPadding;
    return {kReadoutMargin, height - kReadoutMargin - boxHeight,
            atlas_.textWidth(decodeText(kWidestReadout)) + 2 * kReadoutPadding, boxHeight};
}

void TextOverlay::appendPanel(const std::vector<OverlayLine>& lines, const PixelRect& panel,
                              std::vector<TextItem>& items) const {
    TextItem background;
    background.kind = TextItem::Kind::Rectangle;
    background.x = static_cast<float>(panel.x);
    background.y = static_cast<float>(panel.y);
    background.width = static_cast<float>(panel.width);
    background.height = static_cast<float>(panel.height);
    std::copy(std::begin(kOverlayPanelColor), std::end(kOverlayPanelColor), background.color);
    items.push_back(background);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].text.empty()) continue;
        TextItem line;
        // The glyph sits one pixel inside its cell: the cell starts one pixel up and left.
        line.x = static_cast<float>(panel.x + kOverlayPadding - 1);
        line.y = static_cast<float>(panel.y + kOverlayPadding - 1 + static_cast<int>(i) * atlas_.lineHeight);
        line.text = lines[i].text;
        line.color[0] = lines[i].color.r;
        line.color[1] = lines[i].color.g;
        line.color[2] = lines[i].color.b;
        line.color[3] = 1.0f;
        items.push_back(std::move(line));
    }
}

void TextOverlay::draw(int width, int height) {
    if (!ready() || !settings_.overlayVisible || (lines_.empty() && counts_.empty() && readout_.empty())) return;
    followTextSize();
    std::vector<TextItem> items;
    items.reserve(lines_.size() + 5);
    if (!lines_.empty()) appendPanel(lines_, overlayPanel(), items);
    int bottom = height;  // the counts stand above the readout when it shows
    if (!readout_.empty()) {
        const PixelRect box = readoutBox(height);
        bottom = box.y;
        TextItem background;
        background.kind = TextItem::Kind::Rectangle;
        background.x = static_cast<float>(box.x);
        background.y = static_cast<float>(box.y);
        background.width = static_cast<float>(box.width);
        background.height = static_cast<float>(box.height);
        std::copy(std::begin(kOverlayPanelColor), std::end(kOverlayPanelColor), background.color);
        items.push_back(background);
        TextItem text;
        // The glyph sits one pixel inside its cell: the cell starts one pixel up and left.
        text.x = static_cast<float>(box.x + kReadoutPadding - 1);
        text.y = static_cast<float>(box.y + kReadoutPadding - 1);
        text.text = readout_;
        text.color[0] = kReadoutColor.r;
        text.color[1] = kReadoutColor.g;
        text.color[2] = kReadoutColor.b;
        items.push_back(std::move(text));
    }
    if (!counts_.empty()) {
        // The counts sit in the bottom-left corner, clear of the host's lines and the cube.
        const std::vector<OverlayLine> counts = {{counts_, kCountsColor}};
        PixelRect panel = panelAround(counts, kOverlayMargin, 0);
        panel.y = bottom - kOverlayMargin - panel.height;
        appendPanel(counts, panel, items);
    }
    drawItems(items, width, height);
}

void TextOverlay::drawItems(const std::vector<TextItem>& items, int width, int height) {
    if (!ready() || items.empty()) return;
    // Runs of items of one kind share a draw call; the kind decides uUseAtlas.
    struct Run {
        bool glyphs;
        std::size_t first, count;
    };
    std::vector<Run> runs;
    vertices_.clear();
    for (const TextItem& item : items) {
        const std::size_t before = vertices_.size();
        appendTextVertices(atlas_, item, width, height, vertices_);
        const bool glyphs = item.kind == TextItem::Kind::Text;
        if (vertices_.size() == before) continue;
        if (!runs.empty() && runs.back().glyphs == glyphs)
            runs.back().count += vertices_.size() - before;
        else
            runs.push_back({glyphs, before, vertices_.size() - before});
    }
    if (vertices_.empty()) return;
    if (vertices_.size() > bufferVertices_) {
        bufferVertices_ = vertices_.size() * 2;
        glNamedBufferData(buffer_, static_cast<GLsizeiptr>(bufferVertices_ * sizeof(TextVertex)), nullptr,
                          GL_DYNAMIC_DRAW);
    }
    glNamedBufferSubData(buffer_, 0, static_cast<GLsizeiptr>(vertices_.size() * sizeof(TextVertex)), vertices_.data());

    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glEnable(GL_BLEND);
    glBlendFunc(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA);
    glUseProgram(program_);
    glBindTextureUnit(0, texture_);
    glBindVertexArray(vertexArray_);
    for (const Run& run : runs) {
        glProgramUniform1i(program_, useAtlasLocation_, run.glyphs ? 1 : 0);
        glDrawArrays(GL_TRIANGLES, static_cast<GLint>(run.first), static_cast<GLsizei>(run.count));
    }
    glBindVertexArray(0);
    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
    glEnable(GL_DEPTH_TEST);
}

}  // namespace ovcf
