#include "ovcf/CommitRecovery.h"

#include "core/Log.h"
#include "ovcf/FileName.h"
#include "ovcf/CommitJournal.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

bool journalExists(const std::string& journalPath) {
    SystemFile probe;
    return probe.open(journalPath, SystemFile::Mode::Read) || !probe.lastErrorIsNotFound();
}

}  // namespace

bool settleJournal(SystemFile& file, const std::string& path, std::string& error) {
    const std::string journalPath = journalPathOf(path);
    std::uint8_t bytes[kHeaderSize];
    std::uint64_t fileSize = 0;
    if (!file.size(fileSize) || !file.readAt(0, bytes, sizeof bytes)) {
        error = "reading the header failed: " + file.lastErrorText();
        return false;
    }
    CommitJournal journal;
    switch (readJournal(journalPath, fileSize, decodeHeader(bytes), journal)) {
    case JournalState::Absent:
        return true;
    case JournalState::Unusable:
        // Cut short before the file was touched, or left from a file since replaced.
        SystemFile::deleteFile(journalPath);
        logLine(LogInfo, "'%s': giornale di un salvataggio mai iniziato rimosso", fileNameOf(path).c_str());
        return true;
    case JournalState::Usable:
        break;
    }
    if (!rollBack(file, journal, error)) return false;
    if (!SystemFile::deleteFile(journalPath)) {
        error = "cannot remove the commit journal '" + journalPath + "'";
        return false;
    }
    SystemFile::syncFolderOf(journalPath);
    logLine(LogWarn, "'%s': un salvataggio interrotto e' stato annullato, il file e' tornato com'era prima",
            fileNameOf(path).c_str());
    return true;
}

bool recoverInterruptedCommit(const std::string& path, std::string& error) {
    if (!journalExists(journalPathOf(path))) return true;
    SystemFile file;
    if (!file.open(path, SystemFile::Mode::ReadWrite)) {
        if (file.lastErrorIsReadOnly() || file.lastErrorIsNotFound()) return true;
        error = "cannot open for writing '" + path + "': " + file.lastErrorText();
        return false;
    }
    if (!file.lock(SystemFile::LockMode::Exclusive)) {
        error = "cannot lock '" + path + "' for the commit: " + file.lastErrorText();
        return false;
    }
    return settleJournal(file, path, error);
}

}  // namespace ovcf
