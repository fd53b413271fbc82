#include "view/RenderTarget.h"

#include <glad/gl.h>

#include <cstdio>

namespace ovcf {
namespace {

GLuint makeTexture(GLenum format, int width, int height) {
    GLuint texture = 0;
    glCreateTextures(GL_TEXTURE_2D, 1, &texture);
    glTextureParameteri(texture, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTextureParameteri(texture, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTextureParameteri(texture, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTextureParameteri(texture, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTextureStorage2D(texture, 1, format, width, height);
    return texture;
}

}  // namespace

bool RenderTarget::ensureSize(int width, int height, std::string& error) {
    width = width < 1 ? 1 : width;
    height = height < 1 ? 1 : height;
    if (framebuffer_ && width == width_ && height == height_) return true;
    release();

    color_ = makeTexture(GL_RGBA8, width, height);
    if (withDepth_) depth_ = makeTexture(GL_DEPTH_COMPONENT32F, width, height);
    glCreateFramebuffers(1, &framebuffer_);
    glNamedFramebufferTexture(framebuffer_, GL_COLOR_ATTACHMENT0, color_, 0);
    if (depth_) glNamedFramebufferTexture(framebuffer_, GL_DEPTH_ATTACHMENT, depth_, 0);
    glNamedFramebufferDrawBuffer(framebuffer_, GL_COLOR_ATTACHMENT0);
    glNamedFramebufferReadBuffer(framebuffer_, GL_COLOR_ATTACHMENT0);

    const GLenum status = glCheckNamedFramebufferStatus(framebuffer_, GL_FRAMEBUFFER);
    if (status != GL_FRAMEBUFFER_COMPLETE) {
        char code[32];
        std::snprintf(code, sizeof code, " 0x%04X)", static_cast<unsigned>(status));
        error = std::string("creation of the render buffer failed (code") + code;
        release();
        return false;
    }
    width_ = width;
    height_ = height;
    return true;
}

void RenderTarget::release() {
    if (framebuffer_) glDeleteFramebuffers(1, &framebuffer_);
    if (color_) glDeleteTextures(1, &color_);
    if (depth_) glDeleteTextures(1, &depth_);
    framebuffer_ = color_ = depth_ = 0;
    width_ = height_ = 0;
}

}  // namespace ovcf
