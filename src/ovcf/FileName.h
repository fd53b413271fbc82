// A path's file name and folder, whichever separator the path uses.
#pragma once

#include <string>

namespace ovcf {

inline std::string fileNameOf(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

// The folder part of a path ("/" for a file at the root); empty when the path names none.
inline std::string folderOf(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? std::string() : path.substr(0, slash == 0 ? 1 : slash);
}

}  // namespace ovcf
