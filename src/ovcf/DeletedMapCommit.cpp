#include "ovcf/DeletedMapCommit.h"

#include <bit>

#include "core/Log.h"
#include "core/NumberFormat.h"
#include "ovcf/JournalledWrite.h"
#include "ovcf/SignatureDelta.h"

namespace ovcf {
namespace {

std::uint64_t countOf(std::uint64_t word) { return static_cast<std::uint64_t>(std::popcount(word)); }

const std::uint8_t* bytesOf(const std::vector<std::uint64_t>& words) {
    return reinterpret_cast<const std::uint8_t*>(words.data());
}

void logCommitted(const std::string& path, std::uint64_t deleted, std::uint64_t points) {
    if (logLevelThreshold() <= LogInfo)
        logLine(LogInfo, "cancellazioni confermate su '%s': %s punti su %s", fileNameOf(path).c_str(),
                formatCount(deleted).c_str(), formatCount(points).c_str());
}

// The file's map with the writer's own changes applied: the bits it set since it last synced
// are set, those it cleared are cleared, every other bit is the file's.
void merge(const std::vector<std::uint64_t>& file, const std::vector<std::uint64_t>& last,
           const std::vector<std::uint64_t>& wanted, CommitOutcome& outcome) {
    outcome.map.resize(file.size());
    outcome.deletedCount = outcome.deletedElsewhere = outcome.restoredElsewhere = 0;
    for (std::size_t w = 0; w < file.size(); ++w) {
        const std::uint64_t set = wanted[w] & ~last[w], cleared = last[w] & ~wanted[w];
        const std::uint64_t word = (file[w] & ~cleared) | set;
        outcome.map[w] = word;
        outcome.deletedCount += countOf(word);
        outcome.deletedElsewhere += countOf(word & ~wanted[w]);
        outcome.restoredElsewhere += countOf(wanted[w] & ~word);
    }
}

bool checkIdentity(const ConfirmedState& now, const std::string& path, const CommitRequest& request,
                   std::string& error) {
    FileId atPath;
    // The path must still name the file this handle opened, and that must be the writer's file.
    if (!SystemFile::fileIdAt(path, atPath) || !(atPath == now.file.id) ||
        (request.opened && !(*request.opened == now.file))) {
        error = kFileReplacedText;
        return false;
    }
    return true;
}

}  // namespace

bool commitDeletions(OvcfReader& reader, const CommitRequest& request, CommitOutcome& outcome, std::string& error) {
    outcome = {};
    const std::string& path = reader.path();
    SystemFile file;
    if (!openForCommit(path, file, error)) return false;
    ConfirmedState now;
    if (!readConfirmedState(file, path, now, error, true)) return false;
    if (!checkIdentity(now, path, request, error)) return false;
    const std::vector<std::uint64_t>& last = *request.lastSynced;
    const std::vector<std::uint64_t>& wanted = *request.wanted;
    if (last.size() != now.map.size() || wanted.size() != now.map.size() ||
        reader.header().pointCount != now.header.pointCount) {
        error = "the deleted-points map does not match the file (" + std::to_string(wanted.size() * 8) +
                " bytes, expected " + std::to_string(now.header.deletedMapSize) + ")";
        return false;
    }
    merge(now.map, last, wanted, outcome);

    outcome.signature = now.header.currentSignature;
    // A file built without a signature has none to keep; the current one is 0 legitimately when
    // every point is deleted.
    if (now.header.buildSignature != 0) {
        // Nothing deleted: the points as built; everything deleted: the empty set. No reading.
        if (outcome.deletedCount == 0) {
            outcome.signature = now.header.buildSignature;
        } else if (outcome.deletedCount == now.header.pointCount) {
            outcome.signature = 0;
        } else if (now.mapCount == now.header.deletedCount) {
            SignatureChange change;
            if (!changedSignature(reader, now.map, outcome.map, now.header.currentSignature, change, error)) return false;
            outcome.signature = change.signature;
            outcome.nodesRead = change.nodesRead;
        } else {
            // The stored signature belongs to a map the file no longer has: count it afresh.
            warnWhenCountDisagrees(path, now);
            if (!survivorsSignature(reader, outcome.map, outcome.signature, error)) return false;
            outcome.recounted = true;
            outcome.nodesRead = static_cast<std::uint32_t>(reader.nodes().size());
        }
    }
    const std::size_t bytes = static_cast<std::size_t>(now.header.deletedMapSize);
    const bool sameMap = std::equal(now.map.begin(), now.map.end(), outcome.map.begin());
    if (sameMap && outcome.deletedCount == now.header.deletedCount && outcome.signature == now.header.currentSignature) {
        logCommitted(path, outcome.deletedCount, now.header.pointCount);
        return true;
    }
    InPlaceChange change;
    change.before = now.header;
    change.after = now.header;
    change.after.deletedCount = outcome.deletedCount;
    change.after.currentSignature = outcome.signature;
    if (!sameMap) {
        change.mapBefore = bytesOf(now.map);
        change.mapAfter = bytesOf(outcome.map);
        change.mapBytes = bytes;
    }
    if (!writeInPlace(file, path, now.file.fileSize, change, error)) return false;
    outcome.wrote = true;
    logCommitted(path, outcome.deletedCount, now.header.pointCount);
    return true;
}

bool commitDeletedMap(const std::string& path, const std::uint8_t* bytes, std::size_t byteCount,
                      std::uint64_t deletedCount, std::string& error) {
    if (!bytes && byteCount != 0) {
        error = "invalid deleted-points map";
        return false;
    }
    SystemFile file;
    if (!openForCommit(path, file, error)) return false;
    ConfirmedState now;
    if (!readConfirmedState(file, path, now, error, true)) return false;
    if (byteCount != now.header.deletedMapSize) {
        error = "the deleted-points map does not match the file (" + std::to_string(byteCount) + " bytes, expected " +
                std::to_string(now.header.deletedMapSize) + ")";
        return false;
    }
    if (deletedCount > now.header.pointCount) {
        error = "the deleted count exceeds the number of points";
        return false;
    }
    InPlaceChange change;
    change.before = now.header;
    change.after = now.header;
    change.after.deletedCount = deletedCount;
    change.mapBefore = bytesOf(now.map);
    change.mapAfter = bytes;
    change.mapBytes = byteCount;
    if (!writeInPlace(file, path, now.file.fileSize, change, error)) return false;
    logCommitted(path, deletedCount, now.header.pointCount);
    return true;
}

}  // namespace ovcf
