#include "ovcf/ConfirmedState.h"

#include <bit>
#include <cstring>

#include "core/Log.h"
#include "ovcf/FileName.h"
#include "core/NumberFormat.h"
#include "ovcf/CommitJournal.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

static_assert(std::endian::native == std::endian::little, "the file's map bytes are the words' own bytes");

bool readUnderLock(SystemFile& file, const std::string& path, ConfirmedState& state, std::string& error) {
    std::uint8_t bytes[kHeaderSize];
    std::uint64_t fileSize = 0;
    if (!file.size(fileSize) || !file.readAt(0, bytes, sizeof bytes)) {
        error = "reading the header failed: " + file.lastErrorText();
        return false;
    }
    FileHeader header = decodeHeader(bytes);
    std::string reason;
    if (!OvcfReader::validateHeader(header, fileSize, reason)) {
        error = "not a valid .ovcf file: " + reason;
        return false;
    }
    CommitJournal journal;
    state.throughJournal = readJournal(journalPathOf(path), fileSize, header, journal) == JournalState::Usable;
    if (state.throughJournal) header = journalHeader(journal);
    state.header = header;
    state.file.fileSize = fileSize;
    state.file.pointCount = header.pointCount;
    state.file.buildSignature = header.buildSignature;
    state.file.hierarchyOffset = header.hierarchyOffset;
    state.file.deletedMapOffset = header.deletedMapOffset;
    const std::uint64_t points = header.pointCount;
    state.map.assign(static_cast<std::size_t>((points + 63) / 64), 0);
    const std::size_t size = static_cast<std::size_t>(header.deletedMapSize);
    auto* mapBytes = reinterpret_cast<std::uint8_t*>(state.map.data());
    if (size != 0 && !file.readAt(header.deletedMapOffset, mapBytes, size)) {
        error = "reading the 'deleted' map failed: " + file.lastErrorText();
        return false;
    }
    if (state.throughJournal) applyJournal(journal, header.deletedMapOffset, mapBytes, size);
    // Bits at and beyond the point count stay clear whatever the file holds there.
    if (points % 64 != 0 && !state.map.empty()) state.map.back() &= (std::uint64_t{1} << (points % 64)) - 1;
    state.mapCount = 0;
    for (std::uint64_t word : state.map) state.mapCount += static_cast<std::uint64_t>(std::popcount(word));
    return true;
}

}  // namespace

bool readConfirmedState(SystemFile& file, const std::string& path, ConfirmedState& state, std::string& error,
                        bool lockHeld) {
    state = {};
    if (!file.fileId(state.file.id)) {
        error = "cannot identify '" + path + "': " + file.lastErrorText();
        return false;
    }
    if (!lockHeld && !file.lock(SystemFile::LockMode::Shared)) {
        error = "cannot lock '" + path + "' for reading: " + file.lastErrorText();
        return false;
    }
    const bool ok = readUnderLock(file, path, state, error);
    if (!lockHeld) file.unlock();
    if (ok && state.throughJournal)
        logLine(LogWarn, "'%s': un salvataggio interrotto non e' stato annullato sul file; letto com'era prima",
                fileNameOf(path).c_str());
    return ok;
}

void warnWhenCountDisagrees(const std::string& path, const ConfirmedState& state) {
    if (state.mapCount == state.header.deletedCount) return;
    logLine(LogWarn,
            "'%s': la mappa dei cancellati segna %s punti ma l'intestazione ne conta %s; vale la mappa",
            fileNameOf(path).c_str(), formatCount(state.mapCount).c_str(), formatCount(state.header.deletedCount).c_str());
}

}  // namespace ovcf
