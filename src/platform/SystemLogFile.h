// Opening the log file with a UTF-8 path (the wide form on Windows).
#pragma once

#include <cstdio>

namespace ovcf {

// Opens the path for binary writing, truncating it; null on failure.
std::FILE* openLogFileForWriting(const char* utf8Path);

}  // namespace ovcf
