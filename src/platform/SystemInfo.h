// What the import asks of the machine: free memory, free disk space, the temporary folder, and
// folders made or removed by UTF-8 path (files: SystemFile). One implementation per platform
// (posix/PosixSystemInfo.cpp, win32/system/Win32SystemInfo.cpp); every call is thread-safe and
// none throws.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ovcf {

// Physical memory the system could give to a process now without swapping, in bytes.
// False when the system does not tell.
bool availablePhysicalMemory(std::uint64_t& bytes);

// Bytes an unprivileged user may still write on the disk that holds `folder`. False when the
// folder does not exist or the system does not tell.
bool freeDiskSpace(const std::string& folder, std::uint64_t& bytes);

// The system's folder for temporary files, UTF-8, without a trailing separator.
std::string systemTemporaryFolder();

// An environment variable's value as UTF-8, empty when it is not set.
std::string environmentVariable(const char* name);

// The separator this platform's paths use between folder and name ('/' or '\\').
char pathSeparator();

// folder + separator + name, without doubling a separator that ends the folder. The separator is
// the one the folder already uses, so that paths given with '/' on Windows stay uniform.
inline std::string joinPath(const std::string& folder, const std::string& name) {
    if (folder.empty()) return name;
    const char last = folder.back();
    if (last == '/' || last == '\\') return folder + name;
    const char separator = folder.find('\\') != std::string::npos ? '\\'
                           : folder.find('/') != std::string::npos  ? '/'
                                                                    : pathSeparator();
    return folder + separator + name;
}

enum class FolderCreation { Created, AlreadyExists, Failed };

// Creates one folder (its parent must exist). On Failed, `reason` holds the system's text.
FolderCreation createFolder(const std::string& path, std::string& reason);

// Removes a folder that is empty; false when it is not empty or cannot be removed.
bool removeEmptyFolder(const std::string& path);

// True when the path names an existing folder.
bool isFolder(const std::string& path);

// The names of a folder's entries (without "." and ".."), each flagged when it is a folder itself
// (links are not followed). False when the folder cannot be read.
struct FolderEntry {
    std::string name;
    bool isFolder = false;
};
bool listFolder(const std::string& path, std::vector<FolderEntry>& entries);

// This process's id, unique among the processes running now.
std::uint32_t currentProcessId();

// A mark of this process that tells it apart from any other, also from a later process that gets
// the same id: "<process id> <start time>" in the system's own units.
std::string currentProcessMark();
// Whether the process a mark names still runs: false only when the system says that no process
// with that id exists or that the one with that id started at another time; true when it cannot
// tell (a mark that cannot be checked is treated as alive).
bool processOfMarkRuns(const std::string& mark);

// Gives back the disk space and cached pages of a range of a file that will not be read again
// (its bytes read as zeros afterwards). Only a hint: where the system cannot, nothing happens.
// Lets a file consumed front to back hand its memory to the files written meanwhile.
void discardFileRange(const std::string& path, std::uint64_t offset, std::uint64_t length);

// Whether the process's standard output or standard error is an interactive terminal (progress
// bars are drawn only there).
bool standardOutputIsTerminal();
bool standardErrorIsTerminal();

}  // namespace ovcf
