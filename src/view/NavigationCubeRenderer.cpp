#include "view/NavigationCubeRenderer.h"

#include <glad/gl.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "view/ShaderBuild.h"
#include "view/StrokeFont.h"
#include "view/shaders/LinesShader.h"

namespace ovcf {
namespace {

// Faces turned further away than this show no name: the letters would smear into a line.
constexpr double kMinLabelFacing = 0.25;
// Largest label extent in face units (a face spans -1..1 on both reading directions).
constexpr float kMaxLabelWidth = 1.5f;
constexpr float kMaxLabelHeight = 0.55f;
// Vertices the buffer holds at first; it grows when a frame needs more.
constexpr std::size_t kInitialCapacity = 1024;

LineVertex vertexAt(double x, double y, const float color[3]) {
    LineVertex v;
    v.position[0] = static_cast<float>(x);
    v.position[1] = static_cast<float>(y);
    std::memcpy(v.color, color, sizeof v.color);
    return v;
}

void addLabel(const CubeFaceQuad& face, const float color[3], std::vector<LineVertex>& lines) {
    std::vector<StrokeSegment> segments;
    const float width = layoutStrokeText(face.label, segments);
    if (segments.empty()) return;
    const float scale = std::min(kMaxLabelWidth / width, kMaxLabelHeight / kStrokeGlyphHeight);
    // Face coordinates (u, v) of a glyph point, the text centred on the face.
    auto toScreen = [&](float gx, float gy) {
        const double u = (gx - width / 2.0f) * scale;
        const double v = (gy - kStrokeGlyphHeight / 2.0f) * scale;
        return std::pair<double, double>{face.centre.x + u * face.textRight.x + v * face.textUp.x,
                                         face.centre.y + u * face.textRight.y + v * face.textUp.y};
    };
    for (const StrokeSegment& s : segments) {
        const auto [x0, y0] = toScreen(s.x0, s.y0);
        const auto [x1, y1] = toScreen(s.x1, s.y1);
        lines.push_back(vertexAt(x0, y0, color));
        lines.push_back(vertexAt(x1, y1, color));
    }
}

}  // namespace

float cubeFaceShade(double facing) {
    return static_cast<float>(0.55 + 0.45 * std::clamp(facing, 0.0, 1.0));
}

CubeMesh buildCubeMesh(const std::vector<CubeFaceQuad>& faces, const CubeColors& colors) {
    CubeMesh mesh;
    for (const CubeFaceQuad& face : faces) {
        const float* base = face.highlighted ? colors.hovered : colors.face;
        const float shade = cubeFaceShade(face.facing);
        const float color[3] = {base[0] * shade, base[1] * shade, base[2] * shade};
        const auto& c = face.corners;
        for (int i : {0, 1, 2, 0, 2, 3}) mesh.triangles.push_back(vertexAt(c[i].x, c[i].y, color));
        for (int i = 0; i < 4; ++i) {
            mesh.lines.push_back(vertexAt(c[i].x, c[i].y, colors.edge));
            mesh.lines.push_back(vertexAt(c[(i + 1) % 4].x, c[(i + 1) % 4].y, colors.edge));
        }
        if (face.facing >= kMinLabelFacing) addLabel(face, colors.label, mesh.lines);
    }
    return mesh;
}

bool NavigationCubeRenderer::initializeGl(std::string& error) {
    if (!buildProgram("cubo di navigazione", shaders::kLinesVertex, shaders::kFlatColorFragment, program_, error))
        return false;
    mvpLocation_ = glGetUniformLocation(program_, "uMvp");
    brightnessLocation_ = glGetUniformLocation(program_, "uBrightness");
    glCreateBuffers(1, &buffer_);
    capacity_ = kInitialCapacity;
    glNamedBufferData(buffer_, static_cast<GLsizeiptr>(capacity_ * sizeof(LineVertex)), nullptr, GL_DYNAMIC_DRAW);
    glCreateVertexArrays(1, &vertexArray_);
    setLineVertexLayout(vertexArray_);
    glVertexArrayVertexBuffer(vertexArray_, 0, buffer_, 0, sizeof(LineVertex));
    return true;
}

void NavigationCubeRenderer::releaseGl() {
    if (vertexArray_) glDeleteVertexArrays(1, &vertexArray_);
    if (buffer_) glDeleteBuffers(1, &buffer_);
    if (program_) glDeleteProgram(program_);
    vertexArray_ = buffer_ = program_ = 0;
    capacity_ = 0;
}

void NavigationCubeRenderer::draw(const std::vector<CubeFaceQuad>& faces, int width, int height) {
    if (!program_ || faces.empty()) return;
    const CubeMesh mesh = buildCubeMesh(faces, colors_);
    const std::size_t total = mesh.triangles.size() + mesh.lines.size();
    if (total > capacity_) {
        capacity_ = total * 2;
        glNamedBufferData(buffer_, static_cast<GLsizeiptr>(capacity_ * sizeof(LineVertex)), nullptr, GL_DYNAMIC_DRAW);
    }
    const GLsizeiptr triangleBytes = static_cast<GLsizeiptr>(mesh.triangles.size() * sizeof(LineVertex));
    glNamedBufferSubData(buffer_, 0, triangleBytes, mesh.triangles.data());
    glNamedBufferSubData(buffer_, triangleBytes, static_cast<GLsizeiptr>(mesh.lines.size() * sizeof(LineVertex)),
                         mesh.lines.data());

    const std::array<float, 16> mvp = windowPixelMatrix(width, height);
    glUseProgram(program_);
    glProgramUniformMatrix4fv(program_, mvpLocation_, 1, GL_FALSE, mvp.data());
    glProgramUniform1f(program_, brightnessLocation_, 1.0f);
    glDisable(GL_DEPTH_TEST);
    glBindVertexArray(vertexArray_);
    glDrawArrays(GL_TRIANGLES, 0, static_cast<GLsizei>(mesh.triangles.size()));
    glDrawArrays(GL_LINES, static_cast<GLsizei>(mesh.triangles.size()), static_cast<GLsizei>(mesh.lines.size()));
    glBindVertexArray(0);
    glEnable(GL_DEPTH_TEST);
}

}  // namespace ovcf
