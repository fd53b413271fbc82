// The view's behind-the-window state: settings, camera, navigation cube, armed tools, the open
// cloud with its streaming and point bitmaps, and the frame. Every call runs on the UI thread;
// those that touch GL need the view's context current.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "navigation/Camera.h"
#include "navigation/NavigationCube.h"
#include "selection/PointBitmap.h"
#include "view/CloudStreaming.h"
#include "view/Renderer.h"
#include "view/TextOverlay.h"
#include "view/ViewSettings.h"

namespace ovcf {

// The tools the host arms; values out of range never reach here.
struct ToolState {
    std::uint32_t selectionTool = 0;  // 0 none, 1 rectangle, 2 circle, 3 polygon
    std::uint32_t rectTool = 0;       // 0 none, 1 zoom window, 2 clip box
    bool cursorReadout = false;
};

class ViewController {
public:
    ViewController();
    ~ViewController();

    // The renderer's GL objects (context current); the message on failure.
    bool initializeGl(std::string& error);
    // Closes the cloud and releases the GL objects (context current).
    void releaseGl();

    void resize(int width, int height);
    int width() const { return width_; }
    int height() const { return height_; }

    // Draws one frame into the current context; true when another frame is wanted soon (nodes
    // were uploaded, or chosen nodes are still loading).
    bool drawFrame();

    // Opens a cloud file (context current): streaming starts, the bitmaps are sized, confirmed
    // deletions loaded, and the camera fitted. False with the reader's message.
    bool openCloud(const std::string& path, std::string& error);
    void closeCloud();
    bool hasCloud() const { return cloud_ && cloud_->isOpen(); }
    std::uint64_t pointCount() const { return hasCloud() ? cloud_->pointCount() : 0; }
    std::uint64_t deletedCount() const { return deleted_.count(); }
    std::uint64_t selectedCount() const { return selected_.count(); }
    // The "nuvola aperta" line, once the host has heard of the open cloud.
    void logCloudOpened() const;

    // Default direction, then the camera fitted to the cloud; false without a cloud.
    bool zoomAll();
    // Writes the picture last presented as a PNG file (context current).
    bool saveScreenshot(const std::string& path, std::string& error);

    // The host's overlay lines: cut at line feeds, null or empty text clears them.
    void setOverlayText(const char* text, std::uint32_t rgb) { overlay_.setOverlayText(text, rgb); }

    ViewSettings settings;
    Camera camera;
    NavigationCube cube{settings.render};
    ToolState tools;

private:
    void uploadBitmaps();

    Renderer renderer_;
    TextOverlay overlay_{settings.render};
    std::unique_ptr<CloudStreaming> cloud_;
    PointBitmap selected_;
    PointBitmap deleted_;
    std::uint64_t frameNumber_ = 0;
    int width_ = 1;
    int height_ = 1;
};

}  // namespace ovcf
