// The view's input: one record per window-system message, the same on every platform.
#pragma once

#include <cstdint>

namespace ovcf {

enum InputEventType : std::int32_t {
    InputButtonDown = 0,
    InputButtonUp = 1,
    InputPointerMove = 2,
    InputPointerLeft = 3,
    InputWheel = 4,
    InputKeyDown = 5,
    InputSizeChanged = 6,
    // The window lost the pointer capture or the keyboard focus: no button-up will follow, so
    // every drag ends here.
    InputCaptureLost = 7,
};

enum InputButton : std::int32_t { ButtonLeft = 0, ButtonRight = 1, ButtonMiddle = 2 };

// Virtual-key codes of the keys the view reacts to (Windows numbering on every platform).
enum VirtualKey : std::int32_t { KeyBackspace = 8, KeyTab = 9, KeyEnter = 13, KeyEscape = 27, KeySpace = 32 };

// One input message, valid only during the sink call.
struct InputEvent {
    std::int32_t type = 0;
    std::int32_t button = 0;
    double x = 0.0;  // client pixels, origin top left
    double y = 0.0;
    double wheel = 0.0;  // notches, positive away from the user
    std::int32_t key = 0;
    std::uint8_t alt = 0;
    std::uint8_t ctrl = 0;
    std::uint8_t shift = 0;
};

}  // namespace ovcf
