// The rollback journal of a commit. Before a commit changes a byte of an .ovcf file it saves the
// bytes it is about to overwrite (the header and the changed pages of the deleted-points map) in
// "<file>-journal" beside it and flushes that; only then is the file written, flushed, and the
// journal removed, which is the instant the commit takes effect. Whenever the process dies, the
// file is therefore either as it was before the commit, or new with the journal still beside it,
// and putting the journal's bytes back gives the old state whole. A journal cut short by a crash
// fails its checksum: the file was not touched yet and the journal is simply removed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ovcf/FileFormat.h"
#include "platform/SystemFile.h"

namespace ovcf {

struct JournalRange {
    std::uint64_t offset = 0;
    std::vector<std::uint8_t> bytes;
};

struct CommitJournal {
    std::uint64_t fileSize = 0;        // of the file the journal belongs to
    std::vector<JournalRange> ranges;  // the bytes before the commit; the header's 512 first
};

std::string journalPathOf(const std::string& filePath);

// Creates the journal, writes it whole with its checksum and makes it and its folder entry
// durable. False with an English message; a journal left half-written is removed.
bool writeJournal(const std::string& journalPath, const CommitJournal& journal, std::string& error);

enum class JournalState {
    Absent,    // no journal: nothing was interrupted
    Unusable,  // cut short, damaged, or of another file: the file itself was never touched by it
    Usable,    // complete, and it belongs to this file: its bytes are the state to go back to
};

// Reads the journal beside a file whose current size is `fileSize` and whose header (as it is
// now) is `header`: the journal belongs to it when it was made for a file of the same size,
// points and build signature.
JournalState readJournal(const std::string& journalPath, std::uint64_t fileSize, const FileHeader& header,
                         CommitJournal& journal);

// Writes the journal's bytes back into `file` (open for writing, under the commit lock) and
// flushes it.
bool rollBack(SystemFile& file, const CommitJournal& journal, std::string& error);

// The header as the journal saved it (the old state), for reading through a journal that cannot
// be rolled back (a read-only medium).
FileHeader journalHeader(const CommitJournal& journal);
// Puts the journal's saved bytes over `bytes`, which hold the file's bytes from `offset` on.
void applyJournal(const CommitJournal& journal, std::uint64_t offset, std::uint8_t* bytes, std::size_t size);

}  // namespace ovcf
