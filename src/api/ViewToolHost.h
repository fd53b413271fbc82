// What the tools of a view reach through: the view's selection, its window's cursor and the
// host's events.
#pragma once

#include "api/ViewObject.h"
#include "navigation/ToolStateMachine.h"

namespace ovcf {

class ViewToolHost final : public ToolHost {
public:
    explicit ViewToolHost(PcViewObject& view) : view_(view) {}

    void runSelection(const ScreenShape& shape) override {
        view_.controller->selectShape(shape);
        emitViewEvent(view_, PC_EVENT_SELECTION_CHANGED);
    }
    std::uint64_t selectedCount() const override { return view_.controller->selectedCount(); }
    void toolStateChanged() override { emitViewEvent(view_, PC_EVENT_TOOL_STATE_CHANGED); }
    void setWaitCursor(bool waiting) override {
        if (view_.window) view_.window->setWaitCursor(waiting);
    }
    bool resetPlanePick() override { return view_.controller->planePick.reset(); }
    bool resetClipBoxHandles() override {
        ClipBox& box = view_.controller->clipBox;
        const bool pressed = box.pressedHandle() != ClipBox::kNoHandle;
        box.forgetHandles();
        return pressed;
    }

private:
    PcViewObject& view_;
};

}  // namespace ovcf
