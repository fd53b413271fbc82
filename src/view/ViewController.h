// The view's behind-the-window state: settings, camera, navigation cube, armed tools, the
// viewport and the frame. Grows with the cloud, the renderer and selection.
#pragma once

#include <cstdint>

#include "navigation/Camera.h"
#include "navigation/NavigationCube.h"
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

    void resize(int width, int height);
    int width() const { return width_; }
    int height() const { return height_; }

    // Draws one frame into the current context; true when another frame is wanted soon.
    bool drawFrame();

    ViewSettings settings;
    Camera camera;
    NavigationCube cube{settings.render};
    ToolState tools;

private:
    int width_ = 1;
    int height_ = 1;
};

}  // namespace ovcf
