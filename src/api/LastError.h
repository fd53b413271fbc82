// The calling thread's last error text, set by every failing export and never cleared.
#pragma once

#include <string>

namespace ovcf {

void setLastError(const std::string& text);
const std::string& lastError();
// The copy-out rule shared by every text-returning export: copies min(length, capacity - 1)
// bytes and a zero when the buffer is usable; returns length + 1.
int copyOut(const std::string& text, char* buffer, int capacity);

}  // namespace ovcf
