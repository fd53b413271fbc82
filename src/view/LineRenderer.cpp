#include "view/LineRenderer.h"

#include <glad/gl.h>

#include <algorithm>
#include <cstddef>

#include "view/ShaderBuild.h"
#include "view/shaders/LinesShader.h"

namespace ovcf {

std::array<float, 16> windowPixelMatrix(int width, int height) {
    const float w = static_cast<float>(width < 1 ? 1 : width);
    const float h = static_cast<float>(height < 1 ? 1 : height);
    std::array<float, 16> m{};
    m[0] = 2.0f / w;
    m[5] = -2.0f / h;
    m[10] = 1.0f;
    m[12] = -1.0f;
    m[13] = 1.0f;
    m[15] = 1.0f;
    return m;
}

void setLineVertexLayout(std::uint32_t vertexArray) {
    glEnableVertexArrayAttrib(vertexArray, 0);
    glVertexArrayAttribFormat(vertexArray, 0, 3, GL_FLOAT, GL_FALSE, offsetof(LineVertex, position));
    glVertexArrayAttribBinding(vertexArray, 0, 0);
    glEnableVertexArrayAttrib(vertexArray, 1);
    glVertexArrayAttribFormat(vertexArray, 1, 3, GL_FLOAT, GL_FALSE, offsetof(LineVertex, color));
    glVertexArrayAttribBinding(vertexArray, 1, 0);
}

bool LineRenderer::initializeGl(std::string& error) {
    if (!buildProgram("riquadro elastico", shaders::kLinesVertex, shaders::kFlatColorFragment, program_, error))
        return false;
    mvpLocation_ = glGetUniformLocation(program_, "uMvp");
    brightnessLocation_ = glGetUniformLocation(program_, "uBrightness");
    glCreateBuffers(static_cast<GLsizei>(buffers_.size()), buffers_.data());
    for (std::size_t i = 0; i < kLineBufferCount; ++i)
        glNamedBufferStorage(buffers_[i], static_cast<GLsizeiptr>(kLineBufferVertices[i] * sizeof(LineVertex)),
                             nullptr, GL_DYNAMIC_STORAGE_BIT);
    glCreateVertexArrays(1, &vertexArray_);
    setLineVertexLayout(vertexArray_);
    return true;
}

void LineRenderer::releaseGl() {
    if (vertexArray_) glDeleteVertexArrays(1, &vertexArray_);
    if (buffers_[0]) glDeleteBuffers(static_cast<GLsizei>(buffers_.size()), buffers_.data());
    if (program_) glDeleteProgram(program_);
    vertexArray_ = program_ = 0;
    buffers_ = {};
}

void LineRenderer::draw(const LineDrawing& drawing, const std::array<float, 16>& mvp) {
    const auto slot = static_cast<std::size_t>(drawing.slot);
    if (!program_ || slot >= kLineBufferCount || drawing.vertices.empty()) return;
    const std::size_t count = std::min<std::size_t>(drawing.vertices.size(), kLineBufferVertices[slot]);
    glNamedBufferSubData(buffers_[slot], 0, static_cast<GLsizeiptr>(count * sizeof(LineVertex)),
                         drawing.vertices.data());
    glUseProgram(program_);
    glProgramUniformMatrix4fv(program_, mvpLocation_, 1, GL_FALSE, mvp.data());
    glProgramUniform1f(program_, brightnessLocation_, drawing.brightness);
    glVertexArrayVertexBuffer(vertexArray_, 0, buffers_[slot], 0, sizeof(LineVertex));
    glBindVertexArray(vertexArray_);
    GLenum mode = GL_LINES;
    if (drawing.primitive == LinePrimitive::LineStrip) mode = GL_LINE_STRIP;
    if (drawing.primitive == LinePrimitive::LineLoop) mode = GL_LINE_LOOP;
    glDrawArrays(mode, 0, static_cast<GLsizei>(count));
    glBindVertexArray(0);
}

}  // namespace ovcf
