// The view's behind-the-window state: settings, camera, navigation cube, the open cloud with its
// streaming, the selection and the deletions, and the frame. Every call runs on the UI thread;
// only initializeGl, releaseGl, drawFrame, openCloud, closeCloud and saveScreenshot touch GL
// and need the view's context current. Edits never do: the point maps reach the GPU with the
// next frame.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cloud/CloudStreaming.h"
#include "cloud/ViewSettings.h"
#include "navigation/Camera.h"
#include "navigation/ClipBox.h"
#include "navigation/CursorReadout.h"
#include "navigation/DepthStatistics.h"
#include "navigation/NavigationCube.h"
#include "navigation/PlanePick.h"
#include "navigation/ToolStateMachine.h"
#include "selection/DeletionHistory.h"
#include "selection/PointBitmap.h"
#include "selection/PointReadBack.h"
#include "selection/SelectionEngine.h"
#include "view/ClipBoxOverlay.h"
#include "view/Renderer.h"
#include "view/TextOverlay.h"
#include "view/ToolOverlay.h"

namespace ovcf {

// What an edit asks of the view: a new picture (the point maps changed) and, for deletions,
// restores and confirmations, new counts in the panel.
enum RedrawKind : int { RedrawPicture = 1, RedrawCounts = 2 };

// The colour pick's answer when there is no point.
constexpr std::uint32_t kNoPickedColor = 0xFFFFFFFF;

class ViewController {
public:
    ViewController();
    ~ViewController();

    // The renderer's GL objects (context current); the message on failure.
    bool initializeGl(std::string& error);
    // Closes the cloud and releases the GL objects (context current).
    void releaseGl();
    // The context is lost or cannot be made current: closes the cloud and forgets every GL
    // object without a GL call, leaving them to die with their context.
    void abandonGl();

    void resize(int width, int height);
    int width() const { return width_; }
    int height() const { return height_; }

    // Draws one frame into the current context, with what `tools` has in progress over it (may
    // be null); true when another frame is wanted soon (nodes were uploaded, or chosen nodes are
    // still loading).
    bool drawFrame(const ToolState* tools = nullptr);

    // Opens a cloud file (context current): streaming starts, the bitmaps are sized, confirmed
    // deletions loaded, and the camera fitted. False with the reader's message.
    bool openCloud(const std::string& path, std::string& error);
    void closeCloud();
    // The same without GL: the node buffers are forgotten, not deleted.
    void closeCloudWithoutGl();
    bool hasCloud() const { return cloud_ && cloud_->isOpen(); }
    std::uint64_t pointCount() const { return hasCloud() ? cloud_->pointCount() : 0; }
    std::uint64_t deletedCount() const { return deletions_.deletedCount(); }
    std::uint64_t selectedCount() const { return selected_.count(); }
    bool hasUnsavedChanges() const { return deletions_.hasUnsavedChanges(); }
    bool canUndo() const { return deletions_.undoDepth() > 0; }
    // The "nuvola aperta" line, once the host has heard of the open cloud.
    void logCloudOpened() const;

    // Selection: a shape with the current camera, combine mode and filter; select all, invert
    // (both nothing without a cloud) and clear.
    const SelectionReport& selectShape(const ScreenShape& shape);
    const SelectionReport& lastSelection() const { return lastSelection_; }
    void selectAll();
    void invertSelection();
    void clearSelection();

    // Deletion; each returns the points it changed, `changed` whether anything did.
    std::uint64_t deleteSelected(bool& changed);
    std::uint64_t undoDeletion(bool& changed);
    std::uint64_t restoreAllDeleted(bool& changed);
    // Writes the deletions into the file; `wrote` false when there was nothing to write.
    bool confirmChanges(bool& wrote, std::string& error);

    // The points back into the host's buffers; -1 with the reason.
    std::int64_t readAllPoints(const HostPointBuffers& out, bool sortByElevation, bool hideOutsideClipBox,
                               std::string& error);
    std::int64_t readSurvivingPoints(const HostPointBuffers& out, bool sortByElevation, std::string& error);

    // The rectangle tools, on a finished rubber band (context current: they read the last
    // frame's depth). The zoom window frames the rectangle at the median depth of its points; the
    // clip box is built from it and their depth range, true when a box came out of it.
    void zoomWindow(double x0, double y0, double x1, double y1);
    bool clipBoxFromRectangle(double x0, double y0, double x1, double y1);

    // Picking from the last frame's depth (context current). The world position drawn under a
    // window pixel; the nearest shown point of the loaded cloud within `radius` of a world
    // position (render space in the result).
    std::optional<Vec3d> depthPick(double x, double y);
    std::optional<NearPoint> nearestPoint(const Vec3d& world, double radius);
    // The colour of the point under a pixel as drawn in the current colour mode (not the selection
    // highlight), 0xFFFFFFFF for none.
    std::uint32_t pickColor(double x, double y);
    // A left click while the plane pick collects points; true when its state changed.
    bool addPlanePoint(double x, double y);

    // The cursor readout: switching logs, and off forgets the point. The cursor's moves and its
    // leaving the view come from the input dispatcher.
    void setCursorReadout(bool on);
    void cursorMoved(double x, double y);
    void cursorLeft();
    const CursorReadout& cursorReadout() const { return readout_; }

    // Default direction, then the camera fitted to the cloud; false without a cloud.
    bool zoomAll();
    // Writes the picture last presented as a PNG file (context current).
    bool saveScreenshot(const std::string& path, std::string& error);

    // The host's overlay lines: cut at line feeds, null or empty text clears them.
    void setOverlayText(const char* text, std::uint32_t rgb) { overlay_.setOverlayText(text, rgb); }
    const std::string& countsText() const { return overlay_.countsText(); }

    ViewSettings settings;
    Camera camera;
    NavigationCube cube{settings.render};
    ClipBox clipBox;
    PlanePick planePick;

private:
    void uploadBitmaps();
    // Read-back takes as many workers as the view's selections.
    unsigned readBackThreads() { return static_cast<unsigned>(selection_.readers().wanted()); }
    void requestRedraw(int kinds);
    // After every change of the deleted map: the level of detail skips what is gone.
    void followDeletions();

    Renderer renderer_;
    TextOverlay overlay_{settings.render};
    std::unique_ptr<CloudStreaming> cloud_;
    PointBitmap selected_;
    DeletionHistory deletions_;
    SelectionEngine selection_;
    SelectionReport lastSelection_;
    DepthStatistics depthUnder(double x0, double y0, double x1, double y1);
    DepthReader lastDepth();
    // The readout's point from the last frame's depth; `beforeFrame` only while the camera is
    // the one that frame was drawn with.
    void updateReadout(bool beforeFrame);

    CursorReadout readout_;
    std::array<float, 16> frameViewProjection_{};

    ToolOverlay toolOverlay_;
    ClipBoxOverlay clipOverlay_;
    // The maps go to the GPU with the next frame, in the view's own context: edits made between
    // frames cost one upload, and no export touches GL for them.
    bool bitmapsDirty_ = true;
    std::uint64_t frameNumber_ = 0;
    int width_ = 1;
    int height_ = 1;
};

}  // namespace ovcf
