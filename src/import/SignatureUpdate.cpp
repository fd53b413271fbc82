#include "import/SignatureUpdate.h"

#include <cstdint>

#include "ovcf/HeaderUpdate.h"

namespace ovcf {

bool updateSignature(const std::string& cachePath, std::uint64_t expectedAlive, std::uint64_t newSignature,
                     std::string& error) {
    SystemFile file;
    FileHeader header;
    if (!openForHeaderUpdate(cachePath, file, header, error)) return false;
    const std::uint64_t alive = header.pointCount - header.deletedCount;
    if (alive != expectedAlive) {
        error = "the signature covers " + std::to_string(expectedAlive) + " points but the file has " +
                std::to_string(alive) + " alive";
        return false;
    }
    // Only the current signature changes; the one from the build stays.
    header.currentSignature = newSignature;
    if (!writeHeaderBack(file, header)) {
        error = "writing the header failed: " + file.lastErrorText();
        return false;
    }
    return true;
}

}  // namespace ovcf
