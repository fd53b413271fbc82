// The view's input sink: routes the window's input events to navigation and the tools.
#pragma once

#include "platform/ViewWindow.h"

struct PcViewObject;

namespace ovcf {

// context is the PcViewObject.
void dispatchInput(const InputEvent& event, void* context);
// The common cancel: disarms the selection and rectangle tools and resets the plane pick; true
// (and event 3) when anything was there.
bool cancelViewTools(PcViewObject& view);

}  // namespace ovcf
