// The files of a crash report on Windows: the minidump through dbghelp, loaded only when it is
// needed, and the report text. Fixed buffers only; paths are widened into arrays on the stack.
#include <windows.h>
#include <dbghelp.h>

#include "platform/CrashHandlers.h"

namespace ovcf {
namespace {

using MiniDumpWriteDumpFunction = BOOL(WINAPI*)(HANDLE, DWORD, HANDLE, MINIDUMP_TYPE,
                                                PMINIDUMP_EXCEPTION_INFORMATION,
                                                PMINIDUMP_USER_STREAM_INFORMATION, PMINIDUMP_CALLBACK_INFORMATION);

// Thread information, handle data, full memory.
constexpr DWORD kFullMemoryDump = 0x1006;
// Thread information, process and thread data, indirectly referenced memory, unloaded modules,
// scanned memory.
constexpr DWORD kCompactDump = 0x1170;

bool widenPath(const char* utf8Path, wchar_t (&wide)[kCrashPathBytes]) {
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8Path, -1, wide, kCrashPathBytes) > 0;
}

HANDLE createForWriting(const char* utf8Path) {
    wchar_t wide[kCrashPathBytes];
    if (!widenPath(utf8Path, wide)) return INVALID_HANDLE_VALUE;
    return CreateFileW(wide, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void deleteFile(const char* utf8Path) {
    wchar_t wide[kCrashPathBytes];
    if (widenPath(utf8Path, wide)) DeleteFileW(wide);
}

}  // namespace

bool writeCrashDump(const char* utf8Path, const CrashFacts& facts, bool fullMemory, const char* library) {
    HMODULE dbghelp = LoadLibraryA(library);
    if (!dbghelp) return false;
    const auto writeDump =
        reinterpret_cast<MiniDumpWriteDumpFunction>(reinterpret_cast<void*>(GetProcAddress(dbghelp, "MiniDumpWriteDump")));
    if (!writeDump) return false;
    HANDLE file = createForWriting(utf8Path);
    if (file == INVALID_HANDLE_VALUE) return false;

    MINIDUMP_EXCEPTION_INFORMATION exception{};
    exception.ThreadId = static_cast<DWORD>(facts.threadId);
    exception.ExceptionPointers = static_cast<PEXCEPTION_POINTERS>(facts.systemException);
    exception.ClientPointers = FALSE;
    const BOOL written = writeDump(GetCurrentProcess(), GetCurrentProcessId(), file,
                                   static_cast<MINIDUMP_TYPE>(fullMemory ? kFullMemoryDump : kCompactDump),
                                   facts.systemException ? &exception : nullptr, nullptr, nullptr);
    CloseHandle(file);
    if (!written) deleteFile(utf8Path);
    return written != FALSE;
}

bool writeCrashFile(const char* utf8Path, const char* data, std::size_t size) {
    HANDLE file = createForWriting(utf8Path);
    if (file == INVALID_HANDLE_VALUE) return false;
    bool ok = true;
    while (ok && size > 0) {
        const DWORD chunk = size > 0x40000000u ? 0x40000000u : static_cast<DWORD>(size);
        DWORD written = 0;
        ok = WriteFile(file, data, chunk, &written, nullptr) && written > 0;
        data += written;
        size -= written;
    }
    return CloseHandle(file) && ok;
}

}  // namespace ovcf
