#include "view/ViewController.h"

#include <glad/gl.h>

namespace ovcf {

ViewController::ViewController() { resize(1, 1); }

void ViewController::resize(int width, int height) {
    width_ = width < 1 ? 1 : width;
    height_ = height < 1 ? 1 : height;
    camera.setViewport(width_, height_);
    cube.setViewport(width_, height_);
}

bool ViewController::drawFrame() {
    // Without a cloud the frame is the background alone.
    const ColorRgbF& bottom = settings.render.backgroundBottom;
    glViewport(0, 0, width_, height_);
    glClearColor(bottom.r, bottom.g, bottom.b, 1.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    return false;
}

}  // namespace ovcf
