// Machine facts and folder operations on Windows: UTF-8 paths go to the wide-character API.
#include <windows.h>

#include <cstdio>
#include <sstream>
#include <io.h>

#include "platform/SystemInfo.h"
#include "platform/win32/system/WideString.h"

namespace ovcf {

bool availablePhysicalMemory(std::uint64_t& bytes) {
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof status;
    if (!GlobalMemoryStatusEx(&status)) return false;
    bytes = status.ullAvailPhys;
    return true;
}

bool freeDiskSpace(const std::string& folder, std::uint64_t& bytes) {
    if (folder.empty()) return false;
    ULARGE_INTEGER available{};
    if (!GetDiskFreeSpaceExW(widenUtf8(folder).c_str(), &available, nullptr, nullptr)) return false;
    bytes = available.QuadPart;
    return true;
}

std::string systemTemporaryFolder() {
    wchar_t buffer[MAX_PATH + 2] = {};
    const DWORD length = GetTempPathW(MAX_PATH + 1, buffer);
    if (length == 0 || length > MAX_PATH + 1) return ".";
    std::string folder = narrowToUtf8(buffer);
    // Keep "C:\" whole; drop the separator after any deeper folder.
    while (folder.size() > 3 && (folder.back() == '\\' || folder.back() == '/')) folder.pop_back();
    return folder;
}

std::string environmentVariable(const char* name) {
    const std::wstring wideName = widenUtf8(name);
    wchar_t buffer[2048];
    const DWORD length = GetEnvironmentVariableW(wideName.c_str(), buffer, 2048);
    if (length == 0 || length >= 2048) return "";  // unset, or too long for any folder
    return narrowToUtf8(buffer);
}

char pathSeparator() { return '\\'; }

FolderCreation createFolder(const std::string& path, std::string& reason) {
    if (CreateDirectoryW(widenUtf8(path).c_str(), nullptr)) return FolderCreation::Created;
    const DWORD error = GetLastError();
    if (error == ERROR_ALREADY_EXISTS) return FolderCreation::AlreadyExists;
    reason = win32ErrorText(error);
    return FolderCreation::Failed;
}

bool removeEmptyFolder(const std::string& path) { return RemoveDirectoryW(widenUtf8(path).c_str()) != 0; }

bool isFolder(const std::string& path) {
    const DWORD attributes = GetFileAttributesW(widenUtf8(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// Punching holes needs sparse files on NTFS; the bucket files are short-lived and deleted soon
// after, so the hint is not worth it there.
void discardFileRange(const std::string&, std::uint64_t, std::uint64_t) {}

bool listFolder(const std::string& path, std::vector<FolderEntry>& entries) {
    entries.clear();
    std::wstring pattern;
    if (!widenUtf8(path, pattern)) return false;
    pattern += L"\\*";
    WIN32_FIND_DATAW found;
    const HANDLE search = FindFirstFileW(pattern.c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) return false;
    do {
        const std::string name = narrowToUtf8(found.cFileName);
        if (name == "." || name == "..") continue;
        // A junction or link to a folder is not a folder of ours to empty.
        const bool isDirectory = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0 &&
                                 (found.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
        entries.push_back({name, isDirectory});
    } while (FindNextFileW(search, &found));
    FindClose(search);
    return true;
}

namespace {

bool processCreationTime(HANDLE process, unsigned long long& created) {
    FILETIME creation, exit, kernel, user;
    if (!GetProcessTimes(process, &creation, &exit, &kernel, &user)) return false;
    created = (static_cast<unsigned long long>(creation.dwHighDateTime) << 32) | creation.dwLowDateTime;
    return true;
}

}  // namespace

std::uint32_t currentProcessId() { return static_cast<std::uint32_t>(GetCurrentProcessId()); }

std::string currentProcessMark() {
    unsigned long long created = 0;
    processCreationTime(GetCurrentProcess(), created);
    return std::to_string(GetCurrentProcessId()) + " " + std::to_string(created);
}

bool processOfMarkRuns(const std::string& mark) {
    std::istringstream fields(mark);
    unsigned long pid = 0;
    unsigned long long start = 0;
    if (!(fields >> pid >> start) || pid == 0) return true;
    const HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, static_cast<DWORD>(pid));
    if (!process) return GetLastError() != ERROR_INVALID_PARAMETER;  // no process has that id
    unsigned long long created = 0;
    DWORD exitCode = 0;
    const bool known = processCreationTime(process, created);
    const bool ended = GetExitCodeProcess(process, &exitCode) && exitCode != STILL_ACTIVE;
    CloseHandle(process);
    if (ended) return false;
    return !known || created == start;
}

bool standardOutputIsTerminal() { return _isatty(_fileno(stdout)) != 0; }
bool standardErrorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

}  // namespace ovcf
