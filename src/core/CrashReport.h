// The crash report's text, in Italian, line by line, built from what the platform learnt about
// a fatal error. Pure formatting into a fixed buffer: no allocation, no locks, no stdio.
#pragma once

#include <cstdint>

#include "core/FixedText.h"
#include "platform/CrashHandlers.h"

namespace ovcf {

// The report buffer's size; the report is cut there.
constexpr std::size_t kCrashReportBytes = 65536;
// The time stamp of the file names, with its terminating zero.
constexpr std::size_t kCrashStampBytes = 32;

// Data addresses below this count as a null pointer or a field reached through one.
constexpr std::uint64_t kNearNullLimit = 0x10000;

// The Italian description of a Windows exception code ("errore sconosciuto" for others).
const char* exceptionDescription(std::uint32_t code);
// The operation of an access violation: "lettura", "scrittura", "esecuzione", "accesso".
const char* accessOperationName(std::uint64_t kind);

// "20260928_142501_042" for the file names.
void formatCrashStamp(FixedText& out, const CrashTime& time);

// The whole report. `dumpPath` is null when no dump could be written.
void buildCrashReport(FixedText& out, const CrashFacts& facts, const char* programName, const char* versionLine,
                      const char* dumpPath);

}  // namespace ovcf
