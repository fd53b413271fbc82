#include "import/SignatureUpdate.h"

#include <cstdint>

#include "ovcf/JournalledWrite.h"

namespace ovcf {

bool updateSignature(const std::string& cachePath, std::uint64_t expectedAlive, std::uint64_t newSignature,
                     std::string& error) {
    SystemFile file;
    FileHeader header;
    std::uint64_t fileSize = 0;
    if (!openForCommit(cachePath, file, error) || !readCommitHeader(file, header, fileSize, error)) return false;
    const std::uint64_t alive = header.pointCount - header.deletedCount;
    if (alive != expectedAlive) {
        error = "the signature covers " + std::to_string(expectedAlive) + " points but the file has " +
                std::to_string(alive) + " alive";
        return false;
    }
    // Only the current signature changes; the one from the build stays.
    InPlaceChange change;
    change.before = header;
    change.after = header;
    change.after.currentSignature = newSignature;
    if (!writeInPlace(file, cachePath, fileSize, change, error)) {
        if (error.rfind("header update failed: ", 0) == 0)
            error = "writing the header failed: " + error.substr(sizeof "header update failed: " - 1);
        return false;
    }
    return true;
}

}  // namespace ovcf
