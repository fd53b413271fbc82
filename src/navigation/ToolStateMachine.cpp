#include "navigation/ToolStateMachine.h"

#include <cmath>

#include "core/Log.h"
#include "core/NumberFormat.h"

namespace ovcf {
namespace {

// The wait cursor for the length of a slow step, whatever way the step ends.
class WaitCursor {
public:
    explicit WaitCursor(ToolHost& host) : host_(host) { host_.setWaitCursor(true); }
    ~WaitCursor() { host_.setWaitCursor(false); }
    WaitCursor(const WaitCursor&) = delete;
    WaitCursor& operator=(const WaitCursor&) = delete;

private:
    ToolHost& host_;
};

}  // namespace

const char* selectionToolName(std::uint32_t tool) {
    switch (tool) {
        case SelectionToolNone: return "nessuno";
        case SelectionToolRectangle: return "rettangolo";
        case SelectionToolCircle: return "cerchio";
        case SelectionToolPolygon: return "poligono";
        default: return "?";
    }
}

const char* rectToolName(std::uint32_t tool) {
    switch (tool) {
        case RectToolNone: return "nessuno strumento";
        case RectToolZoomWindow: return "zoom a finestra";
        case RectToolClipBox: return "scatola di ritaglio";
        default: return "?";
    }
}

void ToolStateMachine::setSelectionTool(std::uint32_t tool) {
    if (tool > SelectionToolPolygon) return;
    state_.polygon.clear();
    state_.shapeDrag = false;
    state_.selectionTool = tool;
    if (tool != SelectionToolNone) {
        state_.rectTool = RectToolNone;
        state_.rectDrag = false;
    }
    host_.toolStateChanged();
}

void ToolStateMachine::setRectTool(std::uint32_t tool) {
    if (tool > RectToolClipBox) return;
    state_.rectDrag = false;
    state_.rectTool = tool;
    if (tool != RectToolNone) {
        state_.polygon.clear();
        state_.shapeDrag = false;
        state_.selectionTool = SelectionToolNone;
    }
    host_.toolStateChanged();
}

void ToolStateMachine::beginShape(double x, double y) {
    switch (state_.selectionTool) {
        case SelectionToolRectangle:
        case SelectionToolCircle:
            state_.startX = state_.currentX = x;
            state_.startY = state_.currentY = y;
            state_.shapeDrag = true;
            break;
        case SelectionToolPolygon:
            state_.polygon.push_back(static_cast<float>(x));
            state_.polygon.push_back(static_cast<float>(y));
            state_.currentX = x;
            state_.currentY = y;
            host_.toolStateChanged();
            break;
        default: break;
    }
}

void ToolStateMachine::dragShape(double x, double y) {
    state_.currentX = x;
    state_.currentY = y;
}

bool ToolStateMachine::finishShape(double x, double y) {
    if (state_.selectionTool == SelectionToolPolygon || !state_.shapeDrag) return false;
    state_.shapeDrag = false;
    state_.currentX = x;
    state_.currentY = y;
    if (std::fabs(x - state_.startX) < kClickPixels && std::fabs(y - state_.startY) < kClickPixels) return true;
    ScreenShape shape;
    const auto f = [](double v) { return static_cast<float>(v); };
    if (state_.selectionTool == SelectionToolRectangle)
        shape.setRectangle(f(state_.startX), f(state_.startY), f(x), f(y));
    else
        shape.setCircle(f(state_.startX), f(state_.startY), f(x), f(y));
    runUnderWaitCursor(shape);
    return true;
}

bool ToolStateMachine::confirmPolygon(bool* selected) {
    if (selected) *selected = false;
    if (state_.selectionTool != SelectionToolPolygon) return false;
    const std::size_t vertices = state_.polygon.size() / 2;
    if (vertices < 3) {
        logLine(LogInfo, "poligono: servono almeno tre vertici, ne hai messi %zu", vertices);
        state_.polygon.clear();
        // The host shows the vertices; it hears that they are gone.
        if (vertices > 0) host_.toolStateChanged();
        return true;
    }
    ScreenShape shape;
    shape.setPolygon(std::move(state_.polygon));
    state_.polygon.clear();
    runUnderWaitCursor(shape);
    if (selected) *selected = true;
    return true;
}

bool ToolStateMachine::removeLastVertex() {
    if (state_.selectionTool != SelectionToolPolygon || state_.polygon.empty()) return false;
    state_.polygon.resize(state_.polygon.size() - 2);
    const std::size_t left = state_.polygon.size() / 2;
    if (left > 0)
        logLine(LogInfo, "poligono: tolto l'ultimo vertice, ne restano %zu", left);
    else
        logLine(LogInfo, "poligono: tolto l'ultimo vertice, non ne restano");
    host_.toolStateChanged();
    return true;
}

bool ToolStateMachine::abortDrags() {
    const bool dragging = state_.shapeDrag || state_.rectDrag;
    state_.shapeDrag = false;
    state_.rectDrag = false;
    return dragging;
}

bool ToolStateMachine::cancelTools() {
    // The plane pick and the clip-box handles are reset below; ask first whether they hold anything.
    const bool planeHadAnything = host_.resetPlanePick();
    const bool handleWasPressed = host_.resetClipBoxHandles();
    const bool shapeInProgress = state_.shapeDrag || !state_.polygon.empty();
    const std::uint32_t selectionTool = state_.selectionTool;
    const std::uint32_t rectTool = state_.rectTool;
    if (!shapeInProgress && !state_.rectDrag && selectionTool == SelectionToolNone && rectTool == RectToolNone &&
        !planeHadAnything && !handleWasPressed)
        return false;

    state_.polygon.clear();
    state_.shapeDrag = false;
    state_.selectionTool = SelectionToolNone;
    state_.rectTool = RectToolNone;
    state_.rectDrag = false;

    if (shapeInProgress)
        logLine(LogInfo,
                "comandi annullati: sagoma abbandonata, torna la navigazione. I %s punti selezionati restano selezionati",
                formatCount(host_.selectedCount()).c_str());
    else if (selectionTool != SelectionToolNone)
        logLine(LogInfo, "comandi annullati: selezione a %s disarmata, torna la navigazione", selectionToolName(selectionTool));
    else if (rectTool != RectToolNone)
        logLine(LogInfo, "comandi annullati: %s disarmato, torna la navigazione", rectToolName(rectTool));
    else if (planeHadAnything)
        logLine(LogInfo, "comandi annullati: vista su piano a riposo, la vista resta dov'e'");
    else
        logLine(LogInfo, "comandi annullati: torna la navigazione");
    host_.toolStateChanged();
    return true;
}

void ToolStateMachine::beginRectangle(double x, double y) {
    state_.corner0X = state_.corner1X = x;
    state_.corner0Y = state_.corner1Y = y;
    state_.rectDrag = true;
}

void ToolStateMachine::dragRectangle(double x, double y) {
    if (!state_.rectDrag) return;
    state_.corner1X = x;
    state_.corner1Y = y;
}

bool ToolStateMachine::endRectangle(double x, double y) {
    if (!state_.rectDrag) return false;
    state_.corner1X = x;
    state_.corner1Y = y;
    state_.rectDrag = false;
    return true;
}

void ToolStateMachine::runUnderWaitCursor(const ScreenShape& shape) {
    WaitCursor wait(host_);
    host_.runSelection(shape);
}

}  // namespace ovcf
