// What a POSIX crash handler can learn without allocating: the module holding an address (from
// /proc/self/maps, read with plain system calls), the executable's path, the local time.
#pragma once

#include <cstdint>

#include "platform/CrashHandlers.h"

namespace ovcf {

// Fills moduleKnown, moduleName and moduleOffset for facts.address.
void findCrashModule(CrashFacts& facts);
// Fills the executable path, the process id and the local time.
void fillCrashProcessFacts(CrashFacts& facts);
// Remembers the local time's distance from UTC; localtime_r is no call for a signal handler.
void rememberUtcOffset();

}  // namespace ovcf
