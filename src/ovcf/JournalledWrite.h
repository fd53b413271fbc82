// Changing an .ovcf file in place so that a crash at any instant leaves either the old state or
// the new one, whole: the bytes about to change are saved in the commit journal first, then the
// file is written and flushed, and removing the journal is the moment the change takes effect.
// Every in-place writer (the commit of deletions, the signature update) goes through here,
// under the exclusive commit lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "ovcf/FileFormat.h"
#include "platform/SystemFile.h"

namespace ovcf {

// Opens `path` for reading and writing, takes the exclusive commit lock (waiting for another
// writer's commit to end) and settles any journal an interrupted commit left. The messages begin
// "cannot open for writing '" or "cannot lock '".
bool openForCommit(const std::string& path, SystemFile& file, std::string& error);

// Reads and validates the header of a file opened by openForCommit. The messages begin "reading
// the header failed: " or "not a valid .ovcf file: ".
bool readCommitHeader(SystemFile& file, FileHeader& header, std::uint64_t& fileSize, std::string& error);

struct InPlaceChange {
    FileHeader before;  // the header as the file holds it
    FileHeader after;   // the header to write
    // The deleted-points map as the file holds it and as it is to be, `mapBytes` each; null
    // when the map does not change. Only the 4 KiB pages that differ are written.
    const std::uint8_t* mapBefore = nullptr;
    const std::uint8_t* mapAfter = nullptr;
    std::size_t mapBytes = 0;
};

// Under the lock of openForCommit. On failure the file is put back as it was (or, when even that
// fails, the journal stays for the next opener to recover from). The messages begin "writing
// the deleted-points map failed: ", "header update failed: " or name the journal.
bool writeInPlace(SystemFile& file, const std::string& path, std::uint64_t fileSize, const InPlaceChange& change,
                  std::string& error);

}  // namespace ovcf
