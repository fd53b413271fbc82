#include "import/CacheNaming.h"

namespace ovcf {

std::string cachePathFor(const std::string& cloudPath) {
    // Host paths may use either separator, whatever the platform.
    const std::size_t slash = cloudPath.find_last_of("/\\");
    const std::size_t nameStart = slash == std::string::npos ? 0 : slash + 1;
    std::size_t end = cloudPath.size();
    const std::size_t dot = cloudPath.find_last_of('.');
    // A dot that opens the name (".cloud") is part of the name, not an extension.
    if (dot != std::string::npos && dot > nameStart) end = dot;
    return cloudPath.substr(0, end) + "_cache" + ".ovcf";
}

}  // namespace ovcf
