#include "view/Renderer.h"

#include <glad/gl.h>

#include <algorithm>

#include "core/Log.h"
#include "view/FrameCapture.h"
#include "view/GlErrors.h"
#include "view/TextOverlayHook.h"

namespace ovcf {

Renderer::Renderer() = default;
Renderer::~Renderer() = default;

bool Renderer::initializeGl(std::string& error) {
    releaseGl();
    // What the user's machine draws with, for the support log.
    if (logLevelThreshold() < LogWarn) {
        logLine(LogInfo, "scheda grafica : %s", reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
        logLine(LogInfo, "versione OpenGL: %s", reinterpret_cast<const char*>(glGetString(GL_VERSION)));
    }
    enableGlDebugOutput();
    if (!points_.buildProgram(error) || !screen_.initializeGl(error)) {
        releaseGl();
        return false;
    }
    points_.createVertexArray();
    if (!lines_.initializeGl(error)) {
        releaseGl();
        return false;
    }
    glEnable(GL_DEPTH_TEST);
    glEnable(GL_PROGRAM_POINT_SIZE);
    if (!cube_.initializeGl(error)) {
        releaseGl();
        return false;
    }
    if (overlay_) {
        std::string overlayError;
        overlayReady_ = overlay_->initializeGl(overlayError);
        if (!overlayReady_) logLine(LogWarn, "pannello dei conteggi non disponibile: %s", overlayError.c_str());
    }
    if (const std::uint32_t glError = takeGlError("initializeGl")) {
        error = std::string("OpenGL error ") + glErrorName(glError) + " while creating the view's graphics objects";
        releaseGl();
        return false;
    }
    // After the check: the maps check their own storage, and would take an error left before them.
    bitmaps_.initializeGl();
    ready_ = true;
    return true;
}

void Renderer::releaseGl() {
    if (overlay_ && overlayReady_) overlay_->releaseGl();
    overlayReady_ = false;
    points_.releaseGl();
    screen_.releaseGl();
    lines_.releaseGl();
    cube_.releaseGl();
    bitmaps_.releaseGl();
    sceneTarget_.release();
    presentedTarget_.release();
    ready_ = false;
    frameDrawn_ = false;
}

bool Renderer::ensureTargets(int width, int height) {
    std::string error;
    if (sceneTarget_.ensureSize(width, height, error) && presentedTarget_.ensureSize(width, height, error)) {
        targetFailureLogged_ = false;
        return true;
    }
    // A new presented target holds no picture yet.
    frameDrawn_ = frameDrawn_ && presentedTarget_.ready();
    if (!targetFailureLogged_) logLine(LogError, "%s", error.c_str());
    targetFailureLogged_ = true;
    return false;
}

bool Renderer::drawFrame(const FrameScene& scene) {
    if (!ready_) return false;
    const int width = std::max(scene.width, 1);
    const int height = std::max(scene.height, 1);
    if (!ensureTargets(width, height)) return false;

    const RenderSettings& settings = scene.settings;
    glBindFramebuffer(GL_FRAMEBUFFER, sceneTarget_.framebuffer());
    glViewport(0, 0, width, height);
    glDepthMask(GL_TRUE);
    const float farDepth = 1.0f;
    glClearNamedFramebufferfv(sceneTarget_.framebuffer(), GL_DEPTH, 0, &farDepth);

    screen_.drawBackground(settings);
    points_.draw(scene, bitmaps_);
    if (!scene.sceneLines.empty()) {
        // Lines leave the depth alone so that eye-dome lighting shades only the points.
        const std::array<float, 16> viewProjection = scene.camera.viewProjection();
        glDepthMask(GL_FALSE);
        for (const LineDrawing& drawing : scene.sceneLines) lines_.draw(drawing, viewProjection);
        glDepthMask(GL_TRUE);
    }

    glBindFramebuffer(GL_FRAMEBUFFER, presentedTarget_.framebuffer());
    if (settings.edlEnabled && settings.viewMode == static_cast<std::uint32_t>(ViewMode::Photorealistic))
        screen_.drawEyeDomeLighting(sceneTarget_, settings, scene.camera);
    else
        screen_.drawCopy(sceneTarget_);
    drawOverlays(scene, width, height);

    glBlitNamedFramebuffer(presentedTarget_.framebuffer(), 0, 0, 0, width, height, 0, 0, width, height,
                           GL_COLOR_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, 0);
    frameDrawn_ = true;
    checkGlError("drawFrame");
    return true;
}

void Renderer::drawOverlays(const FrameScene& scene, int width, int height) {
    if (scene.cube && scene.cube->visible()) cube_.draw(scene.cube->visibleFaces(scene.camera), width, height);
    if (!scene.overlayLines.empty()) {
        const std::array<float, 16> pixels = windowPixelMatrix(width, height);
        glDisable(GL_DEPTH_TEST);
        for (const LineDrawing& drawing : scene.overlayLines) lines_.draw(drawing, pixels);
        glEnable(GL_DEPTH_TEST);
    }
    if (overlay_ && overlayReady_) overlay_->draw(width, height);
}

void Renderer::uploadSelectedBits(const std::uint64_t* words, std::size_t wordCount) {
    bitmaps_.uploadSelected(words, wordCount);
}

void Renderer::uploadDeletedBits(const std::uint64_t* words, std::size_t wordCount) {
    bitmaps_.uploadDeleted(words, wordCount);
}

bool Renderer::readLastFrame(std::vector<std::uint8_t>& rgb, int& width, int& height, std::string& error) {
    if (!ready_ || !frameDrawn_ || !presentedTarget_.ready()) {
        error = "no frame has been drawn yet";
        return false;
    }
    width = presentedTarget_.width();
    height = presentedTarget_.height();
    readFramebufferRgb(presentedTarget_.framebuffer(), width, height, rgb);
    return true;
}

bool Renderer::readLastDepth(int x, int y, int width, int height, std::vector<float>& depth) {
    if (!ready_ || !frameDrawn_ || !sceneTarget_.ready() || x < 0 || y < 0 || width < 1 || height < 1 ||
        x + width > sceneTarget_.width() || y + height > sceneTarget_.height())
        return false;
    readFramebufferDepth(sceneTarget_.framebuffer(), x, y, width, height, depth);
    return true;
}

}  // namespace ovcf
