#include "import/SignatureUpdate.h"

#include <cstdint>

#include "ovcf/FileFormat.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"

namespace ovcf {

bool updateSignature(const std::string& cachePath, std::uint64_t expectedAlive, std::uint64_t newSignature,
                     std::string& error) {
    SystemFile file;
    if (!file.open(cachePath, SystemFile::Mode::ReadWrite)) {
        error = "cannot open for writing '" + cachePath + "': " + file.lastErrorText();
        return false;
    }
    std::uint8_t bytes[kHeaderSize];
    if (!file.readAt(0, bytes, sizeof bytes)) {
        error = "reading the header failed: " + file.lastErrorText();
        return false;
    }
    FileHeader header = decodeHeader(bytes);
    std::uint64_t fileSize = 0;
    file.size(fileSize);
    std::string reason;
    if (!OvcfReader::validateHeader(header, fileSize, reason)) {
        error = "not a valid .ovcf file: " + reason;
        return false;
    }
    const std::uint64_t alive = header.pointCount - header.deletedCount;
    if (alive != expectedAlive) {
        error = "the signature covers " + std::to_string(expectedAlive) + " points but the file has " +
                std::to_string(alive) + " alive";
        return false;
    }
    header.currentSignature = newSignature;
    encodeHeader(header, bytes);
    if (!file.seek(0) || !file.write(bytes, sizeof bytes)) {
        error = "writing the header failed: " + file.lastErrorText();
        return false;
    }
    if (!file.close()) {
        error = "writing the header failed: " + file.lastErrorText();
        return false;
    }
    return true;
}

}  // namespace ovcf
