#include "view/ViewController.h"

#include <vector>

#include "view/FrameScene.h"
#include "view/PngWriter.h"

namespace ovcf {

ViewController::ViewController() { resize(1, 1); }

ViewController::~ViewController() = default;

bool ViewController::initializeGl(std::string& error) {
    renderer_.setTextOverlay(&overlay_);
    return renderer_.initializeGl(error);
}

void ViewController::releaseGl() {
    closeCloud();
    renderer_.releaseGl();
}

void ViewController::resize(int width, int height) {
    width_ = width < 1 ? 1 : width;
    height_ = height < 1 ? 1 : height;
    camera.setViewport(width_, height_);
    cube.setViewport(width_, height_);
}

bool ViewController::drawFrame() {
    FrameScene scene(camera, settings.render);
    scene.width = width_;
    scene.height = height_;
    scene.cube = &cube;
    bool more = false;
    if (hasCloud()) {
        const StreamingFrame& frame = cloud_->update(camera, settings.render, ++frameNumber_, nullptr);
        scene.nodes = frame.drawables;
        scene.elevationLow = static_cast<float>(cloud_->boundsMin().z - camera.renderOrigin.z);
        scene.elevationHigh = static_cast<float>(cloud_->boundsMax().z - camera.renderOrigin.z);
        scene.selectionActive = settings.render.selectionHighlight && selected_.count() > 0;
        scene.deletionActive = deleted_.count() > 0;
        more = frame.moreFramesWanted;
    }
    renderer_.drawFrame(scene);
    return more;
}

bool ViewController::openCloud(const std::string& path, std::string& error) {
    closeCloud();
    auto cloud = std::make_unique<CloudStreaming>();
    if (!cloud->open(path, CloudStreaming::kOpenFileLoaderThreads, error)) return false;
    cloud_ = std::move(cloud);
    frameNumber_ = 0;
    selected_.reset(cloud_->pointCount());
    deleted_.reset(cloud_->pointCount());
    deleted_.loadWords(cloud_->deletedWords());
    camera.renderOrigin = cloud_->referencePoint();
    zoomAll();
    uploadBitmaps();
    return true;
}

void ViewController::closeCloud() {
    if (cloud_) cloud_->close();
    cloud_.reset();
    selected_.reset(0);
    deleted_.reset(0);
    if (renderer_.glReady()) uploadBitmaps();
}

void ViewController::logCloudOpened() const {
    if (hasCloud()) cloud_->logOpened();
}

bool ViewController::zoomAll() {
    if (!hasCloud()) return false;
    camera.setDefaultDirection();
    return camera.fitBox(cloud_->boundsMin(), cloud_->boundsMax());
}

bool ViewController::saveScreenshot(const std::string& path, std::string& error) {
    std::vector<std::uint8_t> rgb;
    int width = 0;
    int height = 0;
    if (!renderer_.readLastFrame(rgb, width, height, error)) return false;
    return writePng(path, width, height, rgb.data(), true, error);
}

void ViewController::uploadBitmaps() {
    renderer_.uploadSelectedBits(selected_.words().data(), selected_.words().size());
    renderer_.uploadDeletedBits(deleted_.words().data(), deleted_.words().size());
}

}  // namespace ovcf
