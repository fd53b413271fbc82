// The view's behind-the-window state: what the host set (tools, modes), the viewport, and the
// frame drawing. Grows with the cloud, the renderer, navigation and selection.
#pragma once

#include <cstdint>

namespace ovcf {

// The tool numbers the host arms; values out of range never reach here.
struct ToolState {
    std::uint32_t selectionTool = 0;  // 0 none, 1 rectangle, 2 circle, 3 polygon
    std::uint32_t rectTool = 0;       // 0 none, 1 zoom window, 2 clip box
    std::uint32_t combineMode = 0;    // 0 replace, 1 add, 2 subtract
    std::uint32_t navigationTool = 0; // 0 none, 1 pan, 2 orbit
    bool orbitLocked = false;
    bool cursorReadout = false;
};

class ViewController {
public:
    void resize(int width, int height);
    int width() const { return width_; }
    int height() const { return height_; }

    // Draws one frame into the current context; true when another frame is wanted soon.
    bool drawFrame();

    ToolState tools;

private:
    int width_ = 1;
    int height_ = 1;
};

}  // namespace ovcf
