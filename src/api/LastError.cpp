#include "api/LastError.h"

#include <cstring>

namespace ovcf {
namespace {

std::string& threadError() {
    thread_local std::string text;
    return text;
}

}  // namespace

void setLastError(const std::string& text) { threadError() = text; }

const std::string& lastError() { return threadError(); }

int copyOut(const std::string& text, char* buffer, int capacity) {
    if (buffer && capacity >= 1) {
        const std::size_t n = text.size() < static_cast<std::size_t>(capacity - 1) ? text.size()
                                                                                   : static_cast<std::size_t>(capacity - 1);
        std::memcpy(buffer, text.data(), n);
        buffer[n] = '\0';
    }
    return static_cast<int>(text.size()) + 1;
}

}  // namespace ovcf
