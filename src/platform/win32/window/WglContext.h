// WGL: the once-per-process bootstrap that reaches the modern entry points, the pixel format
// and the 4.5 core context of a view window.
#pragma once

#include <windows.h>

#include <string>

namespace ovcf {

// The module this code was linked into (the DLL, or a test program), for window classes.
HINSTANCE thisModule();

// Makes the throw-away window and legacy context once per process (again after a failure);
// safe from several threads.
bool bootstrapWgl(std::string& error);
// Chooses (ARB, else the legacy descriptor) and sets the pixel format of the device context.
bool setViewPixelFormat(HDC deviceContext, std::string& error);
// Creates a 4.5 core context, makes it current, loads the GL functions, asks for vertical sync.
HGLRC createCoreContext(HDC deviceContext, std::string& error);

}  // namespace ovcf
