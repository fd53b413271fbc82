#include "view/ViewController.h"

#include <glad/gl.h>

namespace ovcf {

void ViewController::resize(int width, int height) {
    width_ = width < 1 ? 1 : width;
    height_ = height < 1 ? 1 : height;
}

bool ViewController::drawFrame() {
    // Without a cloud the frame is the background alone.
    glViewport(0, 0, width_, height_);
    glClearColor(0.04f, 0.05f, 0.07f, 1.0f);
    glClearDepth(1.0);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    return false;
}

}  // namespace ovcf
