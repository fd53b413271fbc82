// The process-wide handlers of fatal errors, one implementation per platform
// (win32/system/Win32CrashHandlers.cpp, posix/PosixCrashHandlers.cpp). The platform catches the
// fault and gathers what it knows into CrashFacts; the report itself is written by the writer
// handed to installCrashHandlers, for the first fatal error of the process only.
//
// Nothing here allocates once a fault is being handled: the facts live in static storage, texts
// in fixed buffers, files are written with the system's own calls.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ovcf {

// Paths and names in crash reports, in bytes with the terminating zero.
constexpr std::size_t kCrashPathBytes = 520;

struct CrashTime {
    unsigned year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0, millisecond = 0;
};

struct CrashRegisters {
    std::uint64_t rip = 0, rsp = 0, rbp = 0, rax = 0, rcx = 0, rdx = 0;
};

struct CrashFacts {
    const char* cause = "";  // static text naming the handler that caught the error
    std::uint64_t processId = 0;
    std::uint64_t threadId = 0;  // the faulting thread
    CrashTime time;              // local time
    char executablePath[kCrashPathBytes] = {};

    // Hardware faults and exceptions (Windows codes; POSIX signals are mapped onto them).
    bool hasException = false;
    std::uint32_t exceptionCode = 0;
    std::uint64_t address = 0;  // the faulting instruction
    bool moduleKnown = false;
    char moduleName[kCrashPathBytes] = {};  // file name of the module holding `address`
    std::uint64_t moduleOffset = 0;
    // Access violations: 0 read, 1 write, 8 execute, and the data address touched.
    bool hasAccess = false;
    std::uint64_t accessKind = 0;
    std::uint64_t dataAddress = 0;

    CrashRegisters registers;
    // Windows: the EXCEPTION_POINTERS of the fault, for the dump; null otherwise.
    void* systemException = nullptr;
};

// Called once, for the first fatal error, with the facts complete. Windows calls it on a thread
// started for the purpose (the faulting thread waits up to 30 s), POSIX on the faulting thread
// inside the signal handler, on the alternate signal stack.
using CrashReportWriter = void (*)(const CrashFacts& facts);

// Installs every handler of the platform; the first call wins, later calls change nothing.
// Requests room on the calling thread's stack (Windows: a stack guarantee; POSIX: an alternate
// signal stack) so that a stack overflow of this thread can still be reported.
void installCrashHandlers(CrashReportWriter writer);

// Writes a minidump through MiniDumpWriteDump, looked up at run time in `library`. False when
// the library, the function or the file is not to be had, and always on POSIX.
bool writeCrashDump(const char* utf8Path, const CrashFacts& facts, bool fullMemory, const char* library);

// Creates (or truncates) the file and writes the bytes; false on any failure.
bool writeCrashFile(const char* utf8Path, const char* data, std::size_t size);

}  // namespace ovcf
