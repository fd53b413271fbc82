#include "view/PointPass.h"

#include <glad/gl.h>

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "view/BitmapTextures.h"
#include "view/ShaderBuild.h"
#include "view/shaders/PointsFragmentShader.h"
#include "view/shaders/PointsVertexShader.h"

namespace ovcf {
namespace {

constexpr std::uint32_t kLastColorMode = static_cast<std::uint32_t>(ColorMode::LodLevel);
constexpr int kClipPlaneCount = 6;
constexpr int kDeletedClipDistance = 6;

}  // namespace

bool PointPass::buildProgram(std::string& error) {
    if (!ovcf::buildProgram("punti", shaders::kPointsVertex, shaders::kPointsFragment, program_, error)) return false;
    auto find = [this](const char* name) { return glGetUniformLocation(program_, name); };
    at_.viewProjection = find("uViewProjection");
    at_.cameraPosition = find("uCameraPosition");
    at_.colorMode = find("uColorMode");
    at_.projectionFactor = find("uProjectionFactor");
    at_.elevationRange = find("uElevationRange");
    at_.pointSizeMode = find("uPointSizeMode");
    at_.pointSize = find("uPointSize");
    at_.minPointSize = find("uMinPointSize");
    at_.maxPointSize = find("uMaxPointSize");
    at_.roundPoints = find("uRoundPoints");
    at_.monochromeColor = find("uMonochromeColor");
    at_.opacity = find("uOpacity");
    at_.clipPlanes = find("uClipPlanes");
    at_.deletionActive = find("uDeletionActive");
    at_.selectionActive = find("uSelectionActive");
    at_.selectionColor = find("uSelectionColor");
    at_.nodeOrigin = find("uNodeOrigin");
    at_.nodeSpacing = find("uNodeSpacing");
    at_.nodeLevel = find("uNodeLevel");
    return true;
}

void PointPass::createVertexArray() {
    glCreateVertexArrays(1, &vertexArray_);
    const GLuint vao = vertexArray_;
    for (GLuint attribute = 0; attribute < 5; ++attribute) {
        glEnableVertexArrayAttrib(vao, attribute);
        glVertexArrayAttribBinding(vao, attribute, 0);
    }
    glVertexArrayAttribFormat(vao, 0, 3, GL_FLOAT, GL_FALSE, offsetof(PointVertex, x));
    glVertexArrayAttribFormat(vao, 1, 4, GL_UNSIGNED_BYTE, GL_TRUE, offsetof(PointVertex, r));
    glVertexArrayAttribFormat(vao, 2, 1, GL_UNSIGNED_SHORT, GL_TRUE, offsetof(PointVertex, intensity));
    glVertexArrayAttribFormat(vao, 3, 1, GL_UNSIGNED_SHORT, GL_FALSE, offsetof(PointVertex, classification));
    glVertexArrayAttribIFormat(vao, 4, 1, GL_UNSIGNED_INT, offsetof(PointVertex, index));
}

void PointPass::releaseGl() {
    if (vertexArray_) glDeleteVertexArrays(1, &vertexArray_);
    if (program_) glDeleteProgram(program_);
    vertexArray_ = program_ = 0;
}

void PointPass::setFrameUniforms(const FrameScene& scene, const BitmapTextures& maps, bool xray) {
    const RenderSettings& s = scene.settings;
    const Camera& camera = scene.camera;
    const GLuint p = program_;
    const std::array<float, 16> viewProjection = camera.viewProjection();
    glProgramUniformMatrix4fv(p, at_.viewProjection, 1, GL_FALSE, viewProjection.data());
    const Vec3d eye = camera.toRenderSpace(camera.eyePosition());
    glProgramUniform3f(p, at_.cameraPosition, static_cast<float>(eye.x), static_cast<float>(eye.y),
                       static_cast<float>(eye.z));
    glProgramUniform1i(p, at_.colorMode, static_cast<GLint>(std::min(s.colorMode, kLastColorMode)));
    const double height = std::max(scene.height, 1);
    glProgramUniform1f(p, at_.projectionFactor,
                       static_cast<float>(height / (2.0 * std::tan(camera.fieldOfView / 2.0))));
    glProgramUniform2f(p, at_.elevationRange, scene.elevationLow, scene.elevationHigh);
    const bool fixedSize = s.pointSizeMode == static_cast<std::uint32_t>(PointSizeMode::Fixed);
    glProgramUniform1i(p, at_.pointSizeMode, fixedSize ? 0 : 1);
    // Fixed size is a whole number of pixels; the adaptive size multiplies the projected spacing.
    glProgramUniform1f(p, at_.pointSize, fixedSize ? s.pixelSize : s.pointSize);
    glProgramUniform1f(p, at_.minPointSize, s.minPointSize);
    glProgramUniform1f(p, at_.maxPointSize, s.maxPointSize);
    glProgramUniform1i(p, at_.roundPoints, s.roundPoints ? 1 : 0);
    glProgramUniform3f(p, at_.monochromeColor, s.monochromeColor.r, s.monochromeColor.g, s.monochromeColor.b);
    glProgramUniform1f(p, at_.opacity, xray ? s.xrayOpacity : 1.0f);

    float planes[kClipPlaneCount * 4];
    for (int i = 0; i < kClipPlaneCount; ++i) {
        const ClipPlane plane = scene.clipBoxActive ? scene.clipPlanes[static_cast<std::size_t>(i)] : ClipPlane{};
        planes[i * 4 + 0] = plane.normal[0];
        planes[i * 4 + 1] = plane.normal[1];
        planes[i * 4 + 2] = plane.normal[2];
        planes[i * 4 + 3] = plane.offset;
    }
    glProgramUniform4fv(p, at_.clipPlanes, kClipPlaneCount, planes);

    glProgramUniform1i(p, at_.deletionActive, scene.deletionActive && maps.deletedReady() ? 1 : 0);
    // With the highlight switched off, selected points keep the colour of their mode.
    const bool highlight = scene.selectionActive && s.selectionHighlight && maps.selectedReady();
    glProgramUniform1i(p, at_.selectionActive, highlight ? 1 : 0);
    glProgramUniform3f(p, at_.selectionColor, s.highlightColor.r, s.highlightColor.g, s.highlightColor.b);
}

void PointPass::draw(const FrameScene& scene, const BitmapTextures& maps) {
    if (!program_) return;
    const bool xray = scene.settings.viewMode == static_cast<std::uint32_t>(ViewMode::XRay);
    glUseProgram(program_);
    setFrameUniforms(scene, maps, xray);
    if (xray) {
        glDepthMask(GL_FALSE);
        glEnable(GL_BLEND);
        glBlendFunc(GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    } else {
        glDepthMask(GL_TRUE);
        glDisable(GL_BLEND);
    }
    if (scene.clipBoxActive)
        for (int i = 0; i < kClipPlaneCount; ++i) glEnable(GL_CLIP_DISTANCE0 + i);
    glEnable(GL_CLIP_DISTANCE0 + kDeletedClipDistance);
    maps.bind();
    glEnable(GL_DEPTH_TEST);

    glBindVertexArray(vertexArray_);
    for (const DrawableNode& node : scene.nodes) {
        if (!node.buffer || node.pointCount == 0) continue;
        glProgramUniform3f(program_, at_.nodeOrigin, node.origin[0], node.origin[1], node.origin[2]);
        glProgramUniform1f(program_, at_.nodeSpacing, node.spacing);
        glProgramUniform1f(program_, at_.nodeLevel, static_cast<float>(node.level));
        glVertexArrayVertexBuffer(vertexArray_, 0, node.buffer, 0, sizeof(PointVertex));
        glDrawArrays(GL_POINTS, 0, static_cast<GLsizei>(node.pointCount));
    }
    glBindVertexArray(0);

    glDisable(GL_BLEND);
    glDepthMask(GL_TRUE);
    for (int i = 0; i <= kDeletedClipDistance; ++i) glDisable(GL_CLIP_DISTANCE0 + i);
}

}  // namespace ovcf
