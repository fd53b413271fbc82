#include "ovcf/JournalledWrite.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "ovcf/CommitJournal.h"
#include "ovcf/CommitRecovery.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

constexpr std::size_t kPage = 4096;

// The byte ranges of the map that differ, neighbouring changed pages joined into one range.
std::vector<std::pair<std::size_t, std::size_t>> changedPages(const InPlaceChange& change) {
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    if (!change.mapAfter) return ranges;
    for (std::size_t at = 0; at < change.mapBytes; at += kPage) {
        const std::size_t end = std::min(change.mapBytes, at + kPage);
        if (std::memcmp(change.mapBefore + at, change.mapAfter + at, end - at) == 0) continue;
        if (!ranges.empty() && ranges.back().second == at)
            ranges.back().second = end;
        else
            ranges.emplace_back(at, end);
    }
    return ranges;
}

bool undo(SystemFile& file, const std::string& journalPath, const CommitJournal& journal) {
    std::string ignored;
    return rollBack(file, journal, ignored) && SystemFile::deleteFile(journalPath);
}

}  // namespace

bool openForCommit(const std::string& path, SystemFile& file, std::string& error) {
    if (!file.open(path, SystemFile::Mode::ReadWrite)) {
        error = "cannot open for writing '" + path + "': " + file.lastErrorText();
        return false;
    }
    if (!file.lock(SystemFile::LockMode::Exclusive)) {
        error = "cannot lock '" + path + "' for the commit: " + file.lastErrorText();
        file.close();
        return false;
    }
    if (!settleJournal(file, path, error)) {
        file.close();
        return false;
    }
    return true;
}

bool readCommitHeader(SystemFile& file, FileHeader& header, std::uint64_t& fileSize, std::string& error) {
    std::uint8_t bytes[kHeaderSize];
    if (!file.size(fileSize) || !file.readAt(0, bytes, sizeof bytes)) {
        error = "reading the header failed: " + file.lastErrorText();
        return false;
    }
    header = decodeHeader(bytes);
    std::string reason;
    if (!OvcfReader::validateHeader(header, fileSize, reason)) {
        error = "not a valid .ovcf file: " + reason;
        return false;
    }
    return true;
}

bool writeInPlace(SystemFile& file, const std::string& path, std::uint64_t fileSize, const InPlaceChange& change,
                  std::string& error) {
    const std::vector<std::pair<std::size_t, std::size_t>> pages = changedPages(change);
    const std::uint64_t mapOffset = change.before.deletedMapOffset;
    CommitJournal journal;
    journal.fileSize = fileSize;
    journal.ranges.push_back({0, std::vector<std::uint8_t>(kHeaderSize)});
    encodeHeader(change.before, journal.ranges.front().bytes.data());
    for (auto [from, to] : pages)
        journal.ranges.push_back({mapOffset + from, std::vector<std::uint8_t>(change.mapBefore + from, change.mapBefore + to)});
    const std::string journalPath = journalPathOf(path);
    if (!writeJournal(journalPath, journal, error)) return false;

    for (auto [from, to] : pages)
        if (!file.seek(mapOffset + from) || !file.write(change.mapAfter + from, to - from)) {
            error = "writing the deleted-points map failed: " + file.lastErrorText();
            undo(file, journalPath, journal);
            return false;
        }
    std::uint8_t header[kHeaderSize];
    encodeHeader(change.after, header);
    if (!file.seek(0) || !file.write(header, sizeof header) || !file.flush()) {
        error = "header update failed: " + file.lastErrorText();
        undo(file, journalPath, journal);
        return false;
    }
    // The change takes effect here. A journal that cannot go would undo it at the next opening:
    // better to undo it now and say so.
    if (!SystemFile::deleteFile(journalPath)) {
        error = "cannot remove the commit journal '" + journalPath + "'";
        undo(file, journalPath, journal);
        return false;
    }
    SystemFile::syncFolderOf(journalPath);
    return true;
}

}  // namespace ovcf
