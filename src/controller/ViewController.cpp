#include "controller/ViewController.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

#include "controller/ClipBoxRegion.h"
#include "core/Log.h"
#include "core/NumberFormat.h"
#include "navigation/CameraLod.h"
#include "selection/FilterFactory.h"
#include "view/FrameScene.h"
#include "view/GlNodeBufferStore.h"
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

void ViewController::abandonGl() {
    closeCloudWithoutGl();
    renderer_.abandonGl();
}

void ViewController::resize(int width, int height) {
    width_ = width < 1 ? 1 : width;
    height_ = height < 1 ? 1 : height;
    camera.setViewport(width_, height_);
    cube.setViewport(width_, height_);
}

bool ViewController::drawFrame(const ToolState* tools) {
    if (bitmapsDirty_ && renderer_.glReady()) uploadBitmaps();
    FrameScene scene(camera, settings.render);
    scene.width = width_;
    scene.height = height_;
    scene.cube = &cube;
    bool more = false;
    scene.clipBoxActive = clipBox.isActive();
    if (scene.clipBoxActive) scene.clipPlanes = clipBox.renderPlanes(camera.renderOrigin);
    clipOverlay_.build(clipBox, camera.renderOrigin);
    scene.sceneLines = clipOverlay_.drawings();
    if (hasCloud()) {
        const StreamingFrame& frame =
            cloud_->update(lodViewOf(camera, scene.clipBoxActive ? &scene.clipPlanes : nullptr), settings.render, ++frameNumber_);
        scene.nodes = frame.drawables;
        scene.elevationLow = static_cast<float>(cloud_->boundsMin().z - camera.renderOrigin.z);
        scene.elevationHigh = static_cast<float>(cloud_->boundsMax().z - camera.renderOrigin.z);
        scene.selectionActive = settings.render.selectionHighlight && selected_.count() > 0;
        scene.deletionActive = deletions_.deletedCount() > 0;
        more = frame.moreFramesWanted;
    }
    if (tools) {
        toolOverlay_.build(*tools);
        scene.overlayLines = toolOverlay_.drawings();
    }
    updateReadout(true);
    renderer_.drawFrame(scene);
    frameViewProjection_ = camera.viewProjection();
    updateReadout(false);
    return more;
}

bool ViewController::openCloud(const std::string& path, std::string& error) {
    closeCloud();
    auto cloud = std::make_unique<CloudStreaming>(makeGlNodeBufferStore());
    if (!cloud->open(path, CloudStreaming::kOpenFileLoaderThreads, error)) return false;
    cloud_ = std::move(cloud);
    frameNumber_ = 0;
    selected_.reset(cloud_->pointCount());
    deletions_.open(path, cloud_->nodes(), cloud_->confirmed());
    selection_.open(path, defaultSelectionReaders(), &cloud_->reader());
    lastSelection_ = {};
    camera.renderOrigin = cloud_->referencePoint();
    zoomAll();
    followDeletions();
    requestRedraw(RedrawPicture | RedrawCounts);
    return true;
}

void ViewController::closeCloud() {
    if (cloud_) cloud_->close();
    cloud_.reset();
    selection_.close();
    deletions_.close();
    selected_.reset(0);
    lastSelection_ = {};
    requestRedraw(RedrawPicture | RedrawCounts);
}

void ViewController::closeCloudWithoutGl() {
    if (cloud_) cloud_->abandonGpuBuffers();
    closeCloud();
}

void ViewController::logCloudOpened() const {
    if (hasCloud()) cloud_->logOpened();
}

const SelectionReport& ViewController::selectShape(const ScreenShape& shape) {
    if (!hasCloud()) return lastSelection_ = {};
    SelectionQuery query;
    query.viewProjection = camera.viewProjection();
    query.localOrigin = camera.renderOrigin;
    query.viewportWidth = width_;
    query.viewportHeight = height_;
    query.deleted = &deletions_.deleted();
    const ClipBoxRegion region(clipBox, camera.renderOrigin);
    if (clipBox.isActive()) query.region = &region;
    FilterContext filterContext;
    filterContext.header = &cloud_->header();
    filterContext.render = &settings.render;
    filterContext.elevationLow = cloud_->boundsMin().z - camera.renderOrigin.z;
    filterContext.elevationHigh = cloud_->boundsMax().z - camera.renderOrigin.z;
    const Vec3d forward = camera.target - camera.eyePosition();
    const double length = std::sqrt(forward.x * forward.x + forward.y * forward.y + forward.z * forward.z);
    if (length > 1e-9) filterContext.viewDirection = {forward.x / length, forward.y / length, forward.z / length};
    const std::unique_ptr<SelectionFilter> filter = makeSelectionFilter(settings.selection, filterContext);
    query.filter = filter.get();
    lastSelection_ = selection_.select(shape, settings.selection.combineMode, query, cloud_->header(), cloud_->nodes(),
                                       selected_);
    requestRedraw(RedrawPicture | RedrawCounts);
    return lastSelection_;
}

void ViewController::selectAll() {
    if (!hasCloud()) return;
    selectAllPoints(selected_, deletions_.deleted());
    requestRedraw(RedrawPicture | RedrawCounts);
}

void ViewController::invertSelection() {
    if (!hasCloud()) return;
    ovcf::invertSelection(selected_, deletions_.deleted());
    requestRedraw(RedrawPicture | RedrawCounts);
}

void ViewController::clearSelection() {
    ovcf::clearSelection(selected_);
    requestRedraw(RedrawPicture | RedrawCounts);
}

std::uint64_t ViewController::deleteSelected(bool& changed) {
    changed = false;
    if (!hasCloud()) return 0;
    const std::uint64_t newly = deletions_.deleteSelected(selected_, changed);
    if (changed) {
        followDeletions();
        requestRedraw(RedrawPicture);
        requestRedraw(RedrawCounts);
    }
    return newly;
}

std::uint64_t ViewController::undoDeletion(bool& changed) {
    changed = false;
    if (!hasCloud()) return 0;
    const std::uint64_t restored = deletions_.undo(selected_, changed);
    if (changed) {
        followDeletions();
        // The counts panel shows the selection too, which an undo changes.
        requestRedraw(RedrawPicture | RedrawCounts);
    }
    return restored;
}

std::uint64_t ViewController::restoreAllDeleted(bool& changed) {
    changed = false;
    if (!hasCloud()) return 0;
    const std::uint64_t restored = deletions_.restoreAll(changed);
    if (changed) {
        followDeletions();
        requestRedraw(RedrawPicture);
        requestRedraw(RedrawCounts);
    }
    return restored;
}

bool ViewController::confirmChanges(bool& wrote, std::string& error) {
    wrote = false;
    if (!hasCloud()) {
        error = "no cloud is open";
        return false;
    }
    if (!deletions_.confirm(cloud_->reader(), wrote, error)) return false;
    if (deletions_.adoptedOtherChanges()) {
        followDeletions();
        requestRedraw(RedrawPicture);
    }
    if (wrote) requestRedraw(RedrawCounts);
    return true;
}

std::int64_t ViewController::readAllPoints(const HostPointBuffers& out, bool sortByElevation, bool hideOutsideClipBox,
                                           std::string& error) {
    const ClipBoxRegion region(clipBox, camera.renderOrigin);
    const bool clipped = hideOutsideClipBox && clipBox.isActive();
    ReadBackSource source{cloud_->path(), &cloud_->reader(), &deletions_.deleted(), &deletions_.deletedInNode(),
                          clipped ? &region : nullptr, camera.renderOrigin, readBackThreads()};
    return ovcf::readAllPoints(source, out, sortByElevation, error);
}

std::int64_t ViewController::readSurvivingPoints(const HostPointBuffers& out, bool sortByElevation, std::string& error) {
    ReadBackSource source{cloud_->path(), &cloud_->reader(), &deletions_.deleted(), &deletions_.deletedInNode(), nullptr,
                          camera.renderOrigin, readBackThreads()};
    return ovcf::readSurvivingPoints(source, out, sortByElevation, error);
}

DepthReader ViewController::lastDepth() {
    return [this](int x, int y, int w, int h, std::vector<float>& depth) {
        return renderer_.readLastDepth(x, y, w, h, depth);
    };
}

DepthStatistics ViewController::depthUnder(double x0, double y0, double x1, double y1) {
    return depthStatistics(x0, y0, x1, y1, width_, height_, camera.nearPlane(), camera.farPlane(), lastDepth());
}

void ViewController::zoomWindow(double x0, double y0, double x1, double y1) {
    const DepthStatistics depth = depthUnder(x0, y0, x1, y1);
    if (!depth.found) {
        logLine(LogInfo, "zoom a finestra: nel rettangolo non c'e' nessun punto, ignorato");
        return;
    }
    camera.zoomToRectangle(x0, y0, x1, y1, depth.median);
    logLine(LogDebug, "zoom a finestra: bersaglio a %.2f m, nuova distanza %.2f m", depth.median, camera.distance);
}

bool ViewController::clipBoxFromRectangle(double x0, double y0, double x1, double y1) {
    const DepthStatistics depth = depthUnder(x0, y0, x1, y1);
    if (!depth.found) {
        logLine(LogInfo, "scatola di ritaglio: nel rettangolo non c'e' nessun punto, ignorato");
        return false;
    }
    const double margin = 0.5 * std::max(0.5, depth.farthest - depth.nearest);
    const double from = std::max(depth.nearest - margin, 0.01);
    const double to = depth.farthest + margin;
    if (!clipBox.buildFromRectangle(camera, x0, y0, x1, y1, from, to) || clipBox.empty()) return false;
    logLine(LogInfo, "scatola di ritaglio: %.2f x %.2f x %.2f m, orientata come la vista", 2 * clipBox.halfExtent(0),
            2 * clipBox.halfExtent(1), 2 * clipBox.halfExtent(2));
    requestRedraw(RedrawPicture);
    return true;
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
    const PointBitmap& deleted = deletions_.deleted();
    renderer_.uploadSelectedBits(selected_.words().data(), selected_.words().size());
    renderer_.uploadDeletedBits(deleted.words().data(), deleted.words().size());
    bitmapsDirty_ = false;
}

void ViewController::requestRedraw(int kinds) {
    if (kinds & RedrawPicture) bitmapsDirty_ = true;
    if (kinds & RedrawCounts) {
        if (!hasCloud()) {
            overlay_.setCountsText({});
            return;
        }
        std::string text = "selezionati " + formatCount(selected_.count()) + "   cancellati " +
                           formatCount(deletions_.deletedCount()) + "   restano " +
                           formatCount(pointCount() - deletions_.deletedCount());
        if (deletions_.hasUnsavedChanges()) text += "   modifiche da confermare";
        overlay_.setCountsText(std::move(text));
    }
}

void ViewController::followDeletions() {
    if (cloud_) cloud_->setEditCounts({deletions_.deletedInNode(), deletions_.survivingInSubtree()});
}

}  // namespace ovcf
