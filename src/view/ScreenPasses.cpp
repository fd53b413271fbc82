#include "view/ScreenPasses.h"

#include <glad/gl.h>

#include <initializer_list>

#include "view/RenderTarget.h"
#include "view/ShaderBuild.h"
#include "view/shaders/BackgroundShader.h"
#include "view/shaders/CopyShader.h"
#include "view/shaders/EyeDomeLightingShader.h"
#include "view/shaders/FullScreenTriangleShader.h"

namespace ovcf {

bool ScreenPasses::initializeGl(std::string& error) {
    if (!buildProgram("sfondo", shaders::kFullScreenTriangleVertex, shaders::kBackgroundFragment, background_, error) ||
        !buildProgram("eye-dome lighting", shaders::kFullScreenTriangleVertex, shaders::kEyeDomeLightingFragment, edl_,
                      error) ||
        !buildProgram("copia a schermo", shaders::kFullScreenTriangleVertex, shaders::kCopyFragment, copy_, error))
        return false;
    at_.topColor = glGetUniformLocation(background_, "uTopColor");
    at_.bottomColor = glGetUniformLocation(background_, "uBottomColor");
    at_.gradient = glGetUniformLocation(background_, "uGradient");
    at_.pixelSize = glGetUniformLocation(edl_, "uPixelSize");
    at_.radius = glGetUniformLocation(edl_, "uRadius");
    at_.strength = glGetUniformLocation(edl_, "uStrength");
    at_.nearPlane = glGetUniformLocation(edl_, "uNear");
    at_.farPlane = glGetUniformLocation(edl_, "uFar");
    glCreateVertexArrays(1, &emptyVertexArray_);
    return true;
}

void ScreenPasses::releaseGl() {
    for (std::uint32_t* program : {&background_, &edl_, &copy_}) {
        if (*program) glDeleteProgram(*program);
        *program = 0;
    }
    if (emptyVertexArray_) glDeleteVertexArrays(1, &emptyVertexArray_);
    emptyVertexArray_ = 0;
}

void ScreenPasses::drawTriangle(std::uint32_t program) {
    glDisable(GL_DEPTH_TEST);
    glDepthMask(GL_FALSE);
    glUseProgram(program);
    glBindVertexArray(emptyVertexArray_);
    glDrawArrays(GL_TRIANGLES, 0, 3);
    glBindVertexArray(0);
    glDepthMask(GL_TRUE);
    glEnable(GL_DEPTH_TEST);
}

void ScreenPasses::drawBackground(const RenderSettings& settings) {
    const ColorRgbF& top = settings.backgroundTop;
    const ColorRgbF& bottom = settings.backgroundBottom;
    glProgramUniform3f(background_, at_.topColor, top.r, top.g, top.b);
    glProgramUniform3f(background_, at_.bottomColor, bottom.r, bottom.g, bottom.b);
    glProgramUniform1i(background_, at_.gradient, settings.backgroundGradient ? 1 : 0);
    drawTriangle(background_);
}

void ScreenPasses::drawEyeDomeLighting(const RenderTarget& scene, const RenderSettings& settings,
                                       const Camera& camera) {
    glProgramUniform2f(edl_, at_.pixelSize, 1.0f / static_cast<float>(scene.width()),
                       1.0f / static_cast<float>(scene.height()));
    glProgramUniform1f(edl_, at_.radius, settings.edlRadius);
    glProgramUniform1f(edl_, at_.strength, settings.edlStrength);
    glProgramUniform1f(edl_, at_.nearPlane, static_cast<float>(camera.nearPlane()));
    glProgramUniform1f(edl_, at_.farPlane, static_cast<float>(camera.farPlane()));
    glBindTextureUnit(0, scene.colorTexture());
    glBindTextureUnit(1, scene.depthTexture());
    drawTriangle(edl_);
}

void ScreenPasses::drawCopy(const RenderTarget& scene) {
    glBindTextureUnit(0, scene.colorTexture());
    glBindTextureUnit(1, scene.depthTexture());
    drawTriangle(copy_);
}

}  // namespace ovcf
