// The view's input sink: routes the window's input events to navigation and the tools.
#pragma once

#include "platform/ViewWindow.h"

namespace ovcf {

// context is the PcViewObject.
void dispatchInput(const InputEvent& event, void* context);

}  // namespace ovcf
