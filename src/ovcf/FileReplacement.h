// A new version of a file written under a temporary name in the same folder and put in the
// target's place by one rename once it is complete and on stable storage. Until then the old file
// stays as it was, byte for byte, and readers that have it open keep reading it; a replacement
// that is abandoned (failure, cancel, destruction before commit) deletes its temporary file and
// leaves the old one alone.
//
// The temporary name is the replacement's own ("<target>.<process id>-<number>.part", created
// only where no file has that name), so several replacements of one target, in one process or in
// several, never write into each other's file: each one that completes puts a whole file in
// place, and the last rename wins.
#pragma once

#include <string>

#include "platform/SystemFile.h"

namespace ovcf {

class FileReplacement {
public:
    FileReplacement() = default;
    ~FileReplacement() { abandon(); }
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Abandons any replacement in progress, then creates the temporary file for `target`; on
    // failure the system's reason is file().lastErrorText().
    bool begin(const std::string& target);
    // Flushes the temporary file to stable storage, closes it and renames it over the target.
    // False with an English message; the replacement is then still pending (abandon() or the
    // destructor deletes the temporary file).
    bool commit(std::string& error);
    // Closes and deletes the temporary file, when there is one; true when there was.
    bool abandon();

    SystemFile& file() { return file_; }
    bool pending() const { return !temporaryPath_.empty(); }
    const std::string& target() const { return target_; }
    const std::string& temporaryPath() const { return temporaryPath_; }

private:
    SystemFile file_;
    std::string target_;
    std::string temporaryPath_;  // empty when nothing is pending
};

}  // namespace ovcf
