#include "ovcf/DeletedMapCommit.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/FileFormat.h"
#include "ovcf/HeaderUpdate.h"
#include "platform/SystemFile.h"

namespace ovcf {
namespace {

constexpr std::size_t kPage = 4096;

// The bytes a commit overwrote, to put back when a later write of the same commit fails.
struct SavedRange {
    std::uint64_t offset;
    std::vector<std::uint8_t> bytes;
};

// Writes the changed pages of the map (all of them without `previous`), saving what each write
// replaces first.
bool writeMap(SystemFile& file, std::uint64_t offset, const std::uint8_t* bytes, std::size_t count,
              const std::uint8_t* previous, std::vector<SavedRange>& saved) {
    for (std::size_t at = 0; at < count;) {
        std::size_t end = std::min(count, at + kPage);
        if (previous && std::memcmp(bytes + at, previous + at, end - at) == 0) {
            at = end;
            continue;
        }
        // Neighbouring changed pages go out in one write.
        while (previous && end < count) {
            const std::size_t next = std::min(count, end + kPage);
            if (std::memcmp(bytes + end, previous + end, next - end) == 0) break;
            end = next;
        }
        SavedRange range{offset + at, std::vector<std::uint8_t>(end - at)};
        if (!file.readAt(range.offset, range.bytes.data(), range.bytes.size())) return false;
        saved.push_back(std::move(range));
        if (!file.seek(offset + at) || !file.write(bytes + at, end - at)) return false;
        at = end;
    }
    return true;
}

// Puts back what a failed commit overwrote, newest first, so that the file is as it was.
void restore(SystemFile& file, const std::vector<SavedRange>& saved) {
    for (auto range = saved.rbegin(); range != saved.rend(); ++range)
        if (file.seek(range->offset)) file.write(range->bytes.data(), range->bytes.size());
}

}  // namespace

std::string fileNameOf(const std::string& path) {
    const std::size_t slash = path.find_last_of("/\\");
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

bool commitDeletedMap(const std::string& path, const std::uint8_t* bytes, std::size_t byteCount,
                      std::uint64_t deletedCount, std::string& error, const std::uint8_t* previous,
                      const std::uint64_t* currentSignature) {
    if (!bytes && byteCount != 0) {
        error = "invalid deleted-points map";
        return false;
    }
    SystemFile file;
    FileHeader header;
    if (!openForHeaderUpdate(path, file, header, error)) return false;
    if (byteCount != header.deletedMapSize) {
        error = "the deleted-points map does not match the file (" + std::to_string(byteCount) + " bytes, expected " +
                std::to_string(header.deletedMapSize) + ")";
        return false;
    }
    if (deletedCount > header.pointCount) {
        error = "the deleted count exceeds the number of points";
        return false;
    }
    std::vector<SavedRange> saved;
    if (byteCount != 0 && !writeMap(file, header.deletedMapOffset, bytes, byteCount, previous, saved)) {
        error = "writing the deleted-points map failed: " + file.lastErrorText();
        restore(file, saved);
        return false;
    }
    header.deletedCount = deletedCount;
    if (currentSignature) header.currentSignature = *currentSignature;
    std::uint8_t encoded[kHeaderSize];
    encodeHeader(header, encoded);
    if (!file.seek(0) || !file.write(encoded, sizeof encoded)) {
        error = "header update failed: " + file.lastErrorText();
        restore(file, saved);
        return false;
    }
    if (!file.close()) {
        error = "header update failed: " + file.lastErrorText();
        return false;
    }
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "cancellazioni confermate su '%s': %s punti su %s", fileNameOf(path).c_str(),
                formatCount(deletedCount).c_str(), formatCount(header.pointCount).c_str());
    return true;
}

}  // namespace ovcf
