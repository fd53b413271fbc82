// Writing deletions into an .ovcf file in place. Point records, the hierarchy and the point count
// never change, so readers are not disturbed and every deleted point can come back later.
//
// A commit is safe against the three things that happen to a file on a user's disk: it is
// refused when the file at the path is no longer the one the writer opened (rebuilt, replaced);
// it holds the exclusive commit lock and merges with what other writers (another view, another
// process, `ovcf clean`) confirmed meanwhile, so that nobody's deletions are dropped; and it goes
// through the commit journal, so that a crash at any instant leaves the old state or the new
// one, each with a map, count and current signature that agree.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ovcf/ConfirmedState.h"
#include "ovcf/FileName.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {

struct CommitRequest {
    // The file the writer opened; null accepts whatever file is at the reader's path.
    const OpenedFile* opened = nullptr;
    // The map as the writer last read it from the file or wrote it there, and the writer's map
    // now: only the bits that differ between the two are the writer's own changes.
    const std::vector<std::uint64_t>* lastSynced = nullptr;
    const std::vector<std::uint64_t>* wanted = nullptr;
};

struct CommitOutcome {
    std::vector<std::uint64_t> map;       // the map the file holds now
    std::uint64_t deletedCount = 0;       // its population count, which the header now holds
    std::uint64_t signature = 0;          // the current content signature now in the header
    std::uint64_t deletedElsewhere = 0;   // points another writer deleted that the writer had not
    std::uint64_t restoredElsewhere = 0;  // points another writer brought back
    std::uint32_t nodesRead = 0;          // to bring the signature up to date
    bool recounted = false;               // the signature was computed afresh from every point
    bool wrote = false;                   // false when the file already held all of it
};

// Commits the writer's changes into the file `reader` has open (used to re-read the nodes whose
// points changed, for the signature). False with an English message; nothing is then written.
bool commitDeletions(OvcfReader& reader, const CommitRequest& request, CommitOutcome& outcome, std::string& error);

// Writes `byteCount` bytes of map (bit i%8 of byte i/8 is point i) and the deleted count over the
// file's, as they are, under the lock and through the journal; the signatures are not touched.
// False with an English message; nothing is written when a check fails.
bool commitDeletedMap(const std::string& path, const std::uint8_t* bytes, std::size_t byteCount,
                      std::uint64_t deletedCount, std::string& error);

}  // namespace ovcf
