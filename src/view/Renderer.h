// One view's render pipeline. The scene (background, points, in-scene lines) is drawn into an
// offscreen target with depth; eye-dome lighting or a plain copy composes it into a second,
// colour-only target, the "presented" picture, which also receives the overlays (navigation
// cube, rubber band and polygon, text). That picture is blitted to the window's back buffer for
// the caller to present, and it is what a screenshot reads: the picture on screen without
// drawing a new frame, and without reading the front buffer, which some drivers and
// compositors do not give back.
//
// Every call needs the view's context current on the calling (UI) thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "view/BitmapTextures.h"
#include "view/FrameScene.h"
#include "view/LineRenderer.h"
#include "view/NavigationCubeRenderer.h"
#include "view/PointPass.h"
#include "view/RenderTarget.h"
#include "view/ScreenPasses.h"

namespace ovcf {

class TextOverlayHook;

class Renderer {
public:
    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    // The counts panel and the other text; set before initializeGl. Not owned.
    void setTextOverlay(TextOverlayHook* overlay) { overlay_ = overlay; }

    // Creates every GL object of the view; on failure releases what it made and gives the
    // shader message or the GL error. Leaves depth testing and program point size on.
    bool initializeGl(std::string& error);
    void releaseGl();
    // Forgets the GL objects without a GL call (their context is lost); they die with it.
    void abandonGl() {
        ready_ = false;
        overlayReady_ = false;
        frameDrawn_ = false;
    }
    bool glReady() const { return ready_; }

    // Draws the frame and blits it to the window's back buffer (framebuffer 0), which is left
    // bound. False when there is no GL yet or the offscreen targets cannot be made for the size
    // (logged once until they can again).
    bool drawFrame(const FrameScene& scene);

    // The point maps, 64-bit words (bit g % 64 of word g / 64 is point g). Called after every
    // selection or deletion change; an empty map is valid.
    void uploadSelectedBits(const std::uint64_t* words, std::size_t wordCount);
    void uploadDeletedBits(const std::uint64_t* words, std::size_t wordCount);
    // How the maps' buffers get their storage (tests: a driver that runs out of memory).
    void setBitmapStorage(BitmapStorage storage) { bitmaps_.setStorage(storage); }

    // The last presented frame as tightly packed RGB, bottom row first, at the size it was drawn
    // with. Fails with "no frame has been drawn yet" until a frame was drawn.
    bool readLastFrame(std::vector<std::uint8_t>& rgb, int& width, int& height, std::string& error);
    // The last frame's depth over a pixel rectangle (rows from the bottom); false without a frame
    // or for a rectangle outside it.
    bool readLastDepth(int x, int y, int width, int height, std::vector<float>& depth);

private:
    bool ensureTargets(int width, int height);
    void drawOverlays(const FrameScene& scene, int width, int height);

    bool ready_ = false;
    bool targetFailureLogged_ = false;
    bool frameDrawn_ = false;
    TextOverlayHook* overlay_ = nullptr;
    bool overlayReady_ = false;

    PointPass points_;
    ScreenPasses screen_;
    LineRenderer lines_;
    NavigationCubeRenderer cube_;
    BitmapTextures bitmaps_;
    RenderTarget sceneTarget_{true};
    RenderTarget presentedTarget_{false};
};

}  // namespace ovcf
