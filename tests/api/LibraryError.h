// The library's last error text, read the way a host reads it: asked for its size first.
#pragma once

#include <string>

#include "OrvanePC.h"

namespace ovcf::test {

inline std::string lastLibraryError() {
    const int size = PC_LastError(nullptr, 0);
    std::string text(static_cast<std::size_t>(size > 0 ? size : 1), '\0');
    PC_LastError(text.data(), static_cast<int>(text.size()));
    text.resize(text.size() - 1);
    return text;
}

}  // namespace ovcf::test
