// The light header read of the cache check: only the 512 header bytes, and stricter than a full
// open about the version, so that an older module never trusts a cache it does not fully know.
#include "OvcfReader.h"
#include "ovcf/CommitJournal.h"

namespace ovcf {

ProbeResult OvcfReader::probeHeader(const std::string& path, FileHeader& header, std::string& error) {
    SystemFile file;
    if (!file.open(path, SystemFile::Mode::Read)) {
        if (file.lastErrorIsNotFound()) {
            error = "cache file does not exist";
            return ProbeMissing;
        }
        error = "cannot open the cache file: " + file.lastErrorText();
        return ProbeUnreadable;
    }
    std::uint64_t fileSize = 0;
    std::uint8_t bytes[kHeaderSize];
    if (!file.size(fileSize) || !file.readAt(0, bytes, sizeof bytes)) {
        error = "cannot read the cache header: " + file.lastErrorText();
        return ProbeUnreadable;
    }
    const FileHeader candidate = decodeHeader(bytes);
    std::string reason;
    if (!validateHeader(candidate, fileSize, reason)) {
        error = "not a valid .ovcf file: " + reason;
        return ProbeUnreadable;
    }
    if (candidate.versionMinor > kOvcfVersionMinor) {
        error = "the cache was written by a newer version of the module";
        return ProbeNewer;
    }
    // A commit that died half-way and could not be undone here (a read-only medium), or one
    // still running: the state before it is the confirmed one.
    CommitJournal journal;
    header = readJournal(journalPathOf(path), fileSize, candidate, journal) == JournalState::Usable
                 ? journalHeader(journal)
                 : candidate;
    return ProbeValid;
}

}  // namespace ovcf
