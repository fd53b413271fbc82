// Finishing what an interrupted commit left behind: a journal beside the file whose writer died.
// Only a journal that nobody's commit lock covers is left over, so recovery takes that lock first.
#pragma once

#include <string>

#include "platform/SystemFile.h"

namespace ovcf {

// With the exclusive commit lock held on `file` (open for writing on `path`): a usable journal
// is written back (the file returns to the state before the interrupted commit) and removed; an
// unusable one is removed. Logs what it did. False with an English message.
bool settleJournal(SystemFile& file, const std::string& path, std::string& error);

// Recovers `path` when a journal lies beside it: opens it for writing, takes the lock, settles.
// A file that cannot be opened for writing (a read-only medium) is left as it is: readers read
// it through the journal. True when there was nothing to do or it was done.
bool recoverInterruptedCommit(const std::string& path, std::string& error);

}  // namespace ovcf
