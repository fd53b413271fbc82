// The view's input sink: routes the window's input events to navigation and the tools.
#pragma once

#include "platform/ViewWindow.h"

struct PcViewObject;

namespace ovcf {

// context is the PcViewObject.
void dispatchInput(const InputEvent& event, void* context);
// Disarms the selection and rectangle tools; true (and event 3) when anything was armed.
bool cancelViewTools(PcViewObject& view);

}  // namespace ovcf
