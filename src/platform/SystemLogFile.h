// Opening the log file with a UTF-8 path (the wide form on Windows).
#pragma once

#include <cstddef>
#include <cstdio>

namespace ovcf {

// Opens the path for binary writing, truncating it; null on failure.
std::FILE* openLogFileForWriting(const char* utf8Path);

// Writes bytes straight to the stream's file, past its buffer (the log flushes after every line),
// without allocating or taking the stream's lock: for crash handlers. Errors are ignored.
void writeLogFileDirect(std::FILE* file, const char* data, std::size_t size);

}  // namespace ovcf
