// What an .ovcf file holds as confirmed: its deleted-points map, the header's deleted count and
// current signature, and the identity of the file that holds them. It is read under the shared
// commit lock, so never half-way through another writer's commit, and through an interrupted
// commit's journal when one is there (the old state, whole).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ovcf/FileFormat.h"
#include "platform/SystemFile.h"

namespace ovcf {

// Which file a view opened: it must be the same one when the view writes into it.
struct OpenedFile {
    FileId id;
    std::uint64_t fileSize = 0;
    std::uint64_t pointCount = 0;
    std::uint64_t buildSignature = 0;
    std::uint64_t hierarchyOffset = 0;
    std::uint64_t deletedMapOffset = 0;
    bool operator==(const OpenedFile&) const = default;
};

struct ConfirmedState {
    OpenedFile file;
    FileHeader header;                // as confirmed (through the journal when there is one)
    std::vector<std::uint64_t> map;   // the deleted-points map as words, bit g%64 of word g/64
    std::uint64_t mapCount = 0;       // bits set in the map; the header's count should agree
    bool throughJournal = false;      // an interrupted commit that could not be rolled back here
};

// The message of a file that is no longer the one that was opened.
constexpr const char* kFileReplacedText = "the file was replaced since it was opened: reopen it";

// Reads the confirmed state of `file` (open on `path`). `lockHeld`: the caller already holds
// the exclusive commit lock on `file`. False with an English message.
bool readConfirmedState(SystemFile& file, const std::string& path, ConfirmedState& state, std::string& error,
                        bool lockHeld = false);

// Logs a warning when the map and the header's count disagree (a file written before commits
// were journalled, or damaged): the map is what counts.
void warnWhenCountDisagrees(const std::string& path, const ConfirmedState& state);

}  // namespace ovcf
