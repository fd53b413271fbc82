// A right press that may still become a click: it stays one while the cursor keeps within
// 4 pixels of the press on both axes (exactly 4 is still a click).
#pragma once

#include <cmath>

namespace ovcf {

class RightClickTracker {
public:
    static constexpr double kClickTolerance = 4.0;

    void press(double x, double y) {
        pressed_ = true;
        moved_ = false;
        pressX_ = x;
        pressY_ = y;
    }
    void move(double x, double y) {
        if (pressed_ && (std::fabs(x - pressX_) > kClickTolerance || std::fabs(y - pressY_) > kClickTolerance))
            moved_ = true;
    }
    // Ends the press; true when it was a click (pressed and never moved beyond the tolerance).
    bool release() {
        const bool click = pressed_ && !moved_;
        pressed_ = false;
        moved_ = false;
        return click;
    }
    bool pressed() const { return pressed_; }
    bool moved() const { return moved_; }

private:
    bool pressed_ = false;
    bool moved_ = false;
    double pressX_ = 0.0;
    double pressY_ = 0.0;
};

}  // namespace ovcf
