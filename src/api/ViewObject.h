// The object behind a view handle. The handle is its address; the first 32-bit word is the tag
// that tells a live view from anything else.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "OrvanePC.h"
#include "navigation/NavigationController.h"
#include "navigation/RightClickTracker.h"
#include "platform/ViewWindow.h"
#include "view/ViewController.h"

constexpr std::uint32_t kViewTag = 0x4F565748;  // 'OVWH'

struct PcViewObject {
    std::uint32_t tag = kViewTag;
    std::unique_ptr<ovcf::ViewWindow> window;
    std::unique_ptr<ovcf::ViewController> controller;
    bool glReady = false;
    std::unique_ptr<ovcf::NavigationController> navigation;  // made once the window exists
    std::string overlayText;
    std::uint32_t overlayColor = 0xFFFFFF;
    PcEventCallback eventCallback = nullptr;
    void* eventUserData = nullptr;
    std::int32_t hoveredNode = -1;
    ovcf::RightClickTracker rightClick;  // telling a right click from a right drag
};

namespace ovcf {

// The handle check of every export: null or a wrong tag sets "invalid view handle".
PcViewObject* checkView(PcView handle);
// Fills the host's state record from the view.
void fillViewState(const PcViewObject& view, PcViewState& state);
// The first checks of the exports that write or read a file through GL: 2 with "the path is
// empty", 5 with "cannot activate the OpenGL context", or 0 with the context current.
int requirePathAndContext(PcViewObject& view, const char* path);
// Calls the host's event callback, if any, with a fresh state record.
void emitViewEvent(PcViewObject& view, int event);

}  // namespace ovcf
