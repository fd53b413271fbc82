// An offscreen framebuffer: an RGBA8 colour texture and, when asked for, a 32-bit float depth
// texture, both with nearest filtering and clamped edges so that screen passes read exact
// texels. Rebuilt only when the size changes.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

class RenderTarget {
public:
    explicit RenderTarget(bool withDepth) : withDepth_(withDepth) {}
    ~RenderTarget() = default;  // GL objects need the context: release() does that
    RenderTarget(const RenderTarget&) = delete;
    RenderTarget& operator=(const RenderTarget&) = delete;

    // Makes the target match the size (each at least 1); false with "creation of the render
    // buffer failed (code …)" when the framebuffer is not complete, leaving no target.
    bool ensureSize(int width, int height, std::string& error);
    void release();

    bool ready() const { return framebuffer_ != 0; }
    int width() const { return width_; }
    int height() const { return height_; }
    std::uint32_t framebuffer() const { return framebuffer_; }
    std::uint32_t colorTexture() const { return color_; }
    std::uint32_t depthTexture() const { return depth_; }

private:
    bool withDepth_;
    std::uint32_t framebuffer_ = 0;
    std::uint32_t color_ = 0;
    std::uint32_t depth_ = 0;
    int width_ = 0;
    int height_ = 0;
};

}  // namespace ovcf
