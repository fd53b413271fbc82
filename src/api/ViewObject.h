// The object behind a view handle. The handle is its address; the first 32-bit word is the tag
// that tells a live view from anything else.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "OrvanePC.h"
#include "controller/ViewController.h"
#include "navigation/NavigationController.h"
#include "navigation/RightClickTracker.h"
#include "navigation/ToolStateMachine.h"
#include "platform/CurrentGlContext.h"
#include "platform/ViewWindow.h"

constexpr std::uint32_t kViewTag = 0x4F565748;  // 'OVWH'

struct PcViewObject {
    std::uint32_t tag = kViewTag;
    std::unique_ptr<ovcf::ViewWindow> window;
    std::unique_ptr<ovcf::ViewController> controller;
    bool glReady = false;
    std::unique_ptr<ovcf::NavigationController> navigation;  // made once the window exists
    std::unique_ptr<ovcf::ToolHost> toolHost;                // the tools' way back into the view
    std::unique_ptr<ovcf::ToolStateMachine> tools;
    std::string overlayText;
    std::uint32_t overlayColor = 0xFFFFFF;
    PcEventCallback eventCallback = nullptr;
    void* eventUserData = nullptr;
    std::int32_t hoveredNode = -1;
    ovcf::RightClickTracker rightClick;  // telling a right click from a right drag
    // Exports and window messages under way on this view. A host may destroy the view from
    // inside its own callback: the handle dies at once, the object at the end of the outermost
    // call, so that nothing below the callback runs on freed memory.
    int callDepth = 0;
    bool destroyPending = false;
};

namespace ovcf {

// The handle check of every export: null or a wrong tag sets "invalid view handle".
PcViewObject* checkView(PcView handle);
// Fills the host's state record from the view.
void fillViewState(const PcViewObject& view, PcViewState& state);
// The first checks of the exports that write or read a file through GL: 2 with "the path is
// empty", 5 with "cannot activate the OpenGL context", or 0 with the context current.
int requirePathAndContext(PcViewObject& view, const char* path);
// Calls the host's event callback, if any, with a fresh state record; nothing once the host has
// destroyed the view.
void emitViewEvent(PcViewObject& view, int event);
// Closes the cloud, releases GL objects and the window, clears the tag and frees the view. GL
// objects are released only through the view's own context; when it cannot be made current
// they are left to die with it. The context current before the call is current again after.
void destroyViewObject(PcViewObject* view);

// Marks a call on the view. The outermost one remembers the GL context current when the host
// called and makes it current again at the end, absorbs the window system's errors meanwhile,
// and carries out a destruction the host asked for from a callback.
class ViewCallScope {
public:
    explicit ViewCallScope(PcViewObject& view);
    ~ViewCallScope();
    ViewCallScope(const ViewCallScope&) = delete;
    ViewCallScope& operator=(const ViewCallScope&) = delete;

private:
    PcViewObject& view_;
    std::optional<CurrentGlContextGuard> hostContext_;
    std::unique_ptr<WindowErrorScope> windowErrors_;
};

}  // namespace ovcf
