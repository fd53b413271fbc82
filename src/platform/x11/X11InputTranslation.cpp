#include "platform/x11/X11InputTranslation.h"

#include <X11/Xutil.h>
#include <X11/keysym.h>

namespace ovcf {
namespace {

void readModifiers(unsigned int state, InputEvent& out) {
    out.alt = (state & Mod1Mask) ? 1 : 0;
    out.ctrl = (state & ControlMask) ? 1 : 0;
    out.shift = (state & ShiftMask) ? 1 : 0;
}

bool translateButton(const XButtonEvent& button, bool pressed, InputEvent& out) {
    readModifiers(button.state, out);
    out.x = button.x;
    out.y = button.y;
    switch (button.button) {
        case Button1: out.button = ButtonLeft; break;
        case Button2: out.button = ButtonMiddle; break;
        case Button3: out.button = ButtonRight; break;
        case Button4:
        case Button5:
            // The wheel arrives as buttons 4 (away from the user) and 5; only the press counts.
            if (!pressed) return false;
            out.type = InputWheel;
            out.wheel = button.button == Button4 ? 1.0 : -1.0;
            return true;
        default: return false;
    }
    out.type = pressed ? InputButtonDown : InputButtonUp;
    return true;
}

}  // namespace

int virtualKeyFromKeysym(unsigned long keysym) {
    if (keysym >= XK_a && keysym <= XK_z) return static_cast<int>('A' + (keysym - XK_a));
    if (keysym >= XK_A && keysym <= XK_Z) return static_cast<int>('A' + (keysym - XK_A));
    if (keysym >= XK_0 && keysym <= XK_9) return static_cast<int>('0' + (keysym - XK_0));
    if (keysym >= XK_F1 && keysym <= XK_F12) return static_cast<int>(0x70 + (keysym - XK_F1));
    if (keysym >= XK_KP_0 && keysym <= XK_KP_9) return static_cast<int>(0x60 + (keysym - XK_KP_0));
    switch (keysym) {
        case XK_Escape: return KeyEscape;
        case XK_Return:
        case XK_KP_Enter: return KeyEnter;
        case XK_BackSpace: return KeyBackspace;
        case XK_Tab: return KeyTab;
        case XK_space: return KeySpace;
        case XK_Page_Up: return 0x21;
        case XK_Page_Down: return 0x22;
        case XK_End: return 0x23;
        case XK_Home: return 0x24;
        case XK_Left: return 0x25;
        case XK_Up: return 0x26;
        case XK_Right: return 0x27;
        case XK_Down: return 0x28;
        case XK_Delete: return 0x2E;
        case XK_KP_Add: return 0x6B;
        case XK_KP_Subtract: return 0x6D;
        case XK_plus: return 0xBB;
        case XK_minus: return 0xBD;
        default: return 0;
    }
}

bool translateX11Event(const XEvent& event, InputEvent& out) {
    out = InputEvent{};
    switch (event.type) {
        case ButtonPress: return translateButton(event.xbutton, true, out);
        case ButtonRelease: return translateButton(event.xbutton, false, out);
        case MotionNotify:
            out.type = InputPointerMove;
            out.x = event.xmotion.x;
            out.y = event.xmotion.y;
            readModifiers(event.xmotion.state, out);
            return true;
        case LeaveNotify:
            // Another client grabbed the pointer: the release of a drag goes to that client.
            out.type = event.xcrossing.mode == NotifyGrab ? InputCaptureLost : InputPointerLeft;
            out.x = event.xcrossing.x;
            out.y = event.xcrossing.y;
            readModifiers(event.xcrossing.state, out);
            return true;
        case KeyPress: {
            XKeyEvent key = event.xkey;
            const KeySym keysym = XLookupKeysym(&key, 0);
            out.type = InputKeyDown;
            out.key = virtualKeyFromKeysym(keysym);
            out.x = key.x;
            out.y = key.y;
            readModifiers(key.state, out);
            return true;
        }
        case FocusOut:
            // Focus moving into one of our own children is no loss (the view has none), nor is
            // the pointer-root focus the view held only while the pointer was over it giving way
            // to the focus the view takes itself on a press.
            if (event.xfocus.detail == NotifyInferior || event.xfocus.detail == NotifyPointer) return false;
            out.type = InputCaptureLost;
            return true;
        case ConfigureNotify:
            out.type = InputSizeChanged;
            out.x = event.xconfigure.width < 1 ? 1 : event.xconfigure.width;
            out.y = event.xconfigure.height < 1 ? 1 : event.xconfigure.height;
            return true;
        default: return false;
    }
}

}  // namespace ovcf
