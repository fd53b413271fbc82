// Machine facts and folder operations on Windows: UTF-8 paths go to the wide-character API.
#include <windows.h>

#include <cstdio>
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

bool standardOutputIsTerminal() { return _isatty(_fileno(stdout)) != 0; }
bool standardErrorIsTerminal() { return _isatty(_fileno(stderr)) != 0; }

}  // namespace ovcf
