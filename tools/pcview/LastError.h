// The text of the module's last error on this thread, for the demo's messages.
#pragma once

#include <string>

#include "OrvanePC.h"

inline std::string lastError() {
    char text[1024];
    PC_LastError(text, sizeof text);
    return text;
}
