// The armed tools of the left mouse button and the shapes they collect: selection shapes
// (rectangle, circle, polygon) handed to the selection, and the rubber band of the rectangle
// tools (zoom window, clip box). Also the common cancel. Window pixels throughout, origin
// top-left, y down. What the machine needs from its view goes through ToolHost.
#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "selection/ScreenShape.h"

namespace ovcf {

enum SelectionTool : std::uint32_t { SelectionToolNone = 0, SelectionToolRectangle = 1, SelectionToolCircle = 2, SelectionToolPolygon = 3 };
enum RectTool : std::uint32_t { RectToolNone = 0, RectToolZoomWindow = 1, RectToolClipBox = 2 };

// "nessuno", "rettangolo", "cerchio", "poligono", else "?".
const char* selectionToolName(std::uint32_t tool);
// "nessuno strumento", "zoom a finestra", "scatola di ritaglio", else "?".
const char* rectToolName(std::uint32_t tool);

struct ToolState {
    std::uint32_t selectionTool = SelectionToolNone;
    std::uint32_t rectTool = RectToolNone;
    std::vector<float> polygon;  // x, y pairs in click order
    bool shapeDrag = false;      // a rectangle or circle being dragged
    double startX = 0, startY = 0;
    double currentX = 0, currentY = 0;  // also the free end of the polygon's rubber line
    bool rectDrag = false;              // the rectangle tools' rubber band
    double corner0X = 0, corner0Y = 0, corner1X = 0, corner1Y = 0;
};

class ToolHost {
public:
    virtual ~ToolHost() = default;
    // Selects with the view's combine mode, filter and camera.
    virtual void runSelection(const ScreenShape& shape) = 0;
    virtual std::uint64_t selectedCount() const = 0;
    // The host's state-changed event.
    virtual void toolStateChanged() = 0;
    virtual void setWaitCursor(bool waiting) = 0;
    // Resets the plane pick; true when it had anything (running, points or a result).
    virtual bool resetPlanePick() { return false; }
    // Forgets the clip box's hovered and pressed handles; true when one was held pressed.
    virtual bool resetClipBoxHandles() { return false; }
};

class ToolStateMachine {
public:
    // A move smaller than this on both axes between press and release is a click.
    static constexpr double kClickPixels = 3.0;

    explicit ToolStateMachine(ToolHost& host) : host_(host) {}

    // Out-of-range values are ignored; every accepted call sends the state-changed event.
    void setSelectionTool(std::uint32_t tool);
    void setRectTool(std::uint32_t tool);

    void beginShape(double x, double y);
    void dragShape(double x, double y);
    // Left button up: true when a rectangle or circle gesture ended here (selected or a click).
    bool finishShape(double x, double y);
    // True when the polygon tool was armed (selected, or too few vertices and discarded);
    // `selected` tells which.
    bool confirmPolygon(bool* selected = nullptr);
    // True when a vertex was removed.
    bool removeLastVertex();
    // True when anything was cancelled.
    bool cancelTools();
    // Drops a rectangle, circle or rubber-band drag without acting on it; the tools stay armed
    // and a polygon keeps its vertices. True when a drag was under way.
    bool abortDrags();

    void beginRectangle(double x, double y);
    void dragRectangle(double x, double y);
    // Ends the rubber band at (x, y); false when none was being dragged. The corners stay in
    // state() for whoever consumes them.
    bool endRectangle(double x, double y);
    // The rectangle tools work once: returns the armed one and disarms it without telling the
    // host (the caller does, once the band's outcome is known).
    std::uint32_t takeRectTool() { return std::exchange(state_.rectTool, static_cast<std::uint32_t>(RectToolNone)); }

    const ToolState& state() const { return state_; }
    bool polygonCollecting() const { return state_.selectionTool == SelectionToolPolygon && !state_.polygon.empty(); }

private:
    void runUnderWaitCursor(const ScreenShape& shape);

    ToolHost& host_;
    ToolState state_;
};

}  // namespace ovcf
