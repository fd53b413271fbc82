#include "ovcf/HeaderUpdate.h"

#include "ovcf/OvcfReader.h"

namespace ovcf {

bool openForHeaderUpdate(const std::string& path, SystemFile& file, FileHeader& header, std::string& error) {
    if (!file.open(path, SystemFile::Mode::ReadWrite)) {
        error = "cannot open for writing '" + path + "': " + file.lastErrorText();
        return false;
    }
    std::uint8_t bytes[kHeaderSize];
    if (!file.readAt(0, bytes, sizeof bytes)) {
        error = "reading the header failed: " + file.lastErrorText();
        return false;
    }
    header = decodeHeader(bytes);
    std::uint64_t fileSize = 0;
    file.size(fileSize);
    std::string reason;
    if (!OvcfReader::validateHeader(header, fileSize, reason)) {
        error = "not a valid .ovcf file: " + reason;
        return false;
    }
    return true;
}

bool writeHeaderBack(SystemFile& file, const FileHeader& header) {
    std::uint8_t bytes[kHeaderSize];
    encodeHeader(header, bytes);
    return file.seek(0) && file.write(bytes, sizeof bytes) && file.close();
}

}  // namespace ovcf
