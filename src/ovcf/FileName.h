// The file name without its folder, as log lines show a file.
#pragma once

#include <string>

namespace ovcf {

inline std::string fileNameOf(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace ovcf
