// Machine facts and folder operations on Linux and other POSIX systems; paths are UTF-8 already.
#include "platform/SystemInfo.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sstream>

namespace ovcf {

namespace {

// The "MemAvailable:" line of /proc/meminfo, in kB; the kernel's own estimate of what can be
// allocated without swapping, which counts reclaimable caches too.
bool memAvailableFromProc(std::uint64_t& bytes) {
    std::FILE* file = std::fopen("/proc/meminfo", "r");
    if (!file) return false;
    char line[256];
    bool found = false;
    while (std::fgets(line, sizeof line, file)) {
        unsigned long long kib = 0;
        if (std::sscanf(line, "MemAvailable: %llu kB", &kib) == 1) {
            bytes = static_cast<std::uint64_t>(kib) * 1024u;
            found = true;
            break;
        }
    }
    std::fclose(file);
    return found;
}

}  // namespace

bool availablePhysicalMemory(std::uint64_t& bytes) {
    if (memAvailableFromProc(bytes)) return true;
#ifdef _SC_AVPHYS_PAGES
    const long pages = sysconf(_SC_AVPHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages > 0 && pageSize > 0) {
        bytes = static_cast<std::uint64_t>(pages) * static_cast<std::uint64_t>(pageSize);
        return true;
    }
#endif
    return false;
}

bool freeDiskSpace(const std::string& folder, std::uint64_t& bytes) {
    struct statvfs info {};
    if (folder.empty() || statvfs(folder.c_str(), &info) != 0) return false;
    bytes = static_cast<std::uint64_t>(info.f_bavail) * static_cast<std::uint64_t>(info.f_frsize);
    return true;
}

std::string systemTemporaryFolder() {
    for (const char* name : {"TMPDIR", "TMP", "TEMP"}) {
        const char* value = std::getenv(name);
        if (value && *value) {
            std::string folder(value);
            while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
            if (isFolder(folder)) return folder;
        }
    }
    return "/tmp";
}

std::string environmentVariable(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

char pathSeparator() { return '/'; }

FolderCreation createFolder(const std::string& path, std::string& reason) {
    if (::mkdir(path.c_str(), 0700) == 0) return FolderCreation::Created;
    const int error = errno;
    if (error == EEXIST) return FolderCreation::AlreadyExists;
    reason = std::strerror(error);
    return FolderCreation::Failed;
}

bool removeEmptyFolder(const std::string& path) { return ::rmdir(path.c_str()) == 0; }

bool isFolder(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

void discardFileRange(const std::string& path, std::uint64_t offset, std::uint64_t length) {
#if defined(__linux__) && defined(FALLOC_FL_PUNCH_HOLE)
    const int fd = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (fd < 0) return;
    ::fallocate(fd, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, static_cast<off_t>(offset), static_cast<off_t>(length));
    ::close(fd);
#else
    (void)path;
    (void)offset;
    (void)length;
#endif
}

bool listFolder(const std::string& path, std::vector<FolderEntry>& entries) {
    entries.clear();
    DIR* folder = ::opendir(path.c_str());
    if (!folder) return false;
    while (const dirent* entry = ::readdir(folder)) {
        const std::string name = entry->d_name;
        if (name == "." || name == "..") continue;
        struct stat info {};
        const bool isDirectory = ::lstat((path + "/" + name).c_str(), &info) == 0 && S_ISDIR(info.st_mode);
        entries.push_back({name, isDirectory});
    }
    ::closedir(folder);
    return true;
}

namespace {

// Field 22 of /proc/<pid>/stat: the start time in clock ticks since boot. The command name
// (field 2) may hold spaces and parentheses, so counting starts after its last ')'.
bool processStartTime(long pid, unsigned long long& start) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const std::size_t close = text.rfind(')');
    if (close == std::string::npos) return false;
    std::istringstream fields(text.substr(close + 1));
    std::string field;
    for (int i = 3; i <= 22; ++i)
        if (!(fields >> field)) return false;
    char* end = nullptr;
    start = std::strtoull(field.c_str(), &end, 10);
    return end && *end == '\0';
}

}  // namespace

std::uint32_t currentProcessId() { return static_cast<std::uint32_t>(::getpid()); }

std::string currentProcessMark() {
    const long pid = static_cast<long>(::getpid());
    unsigned long long start = 0;
    processStartTime(pid, start);
    return std::to_string(pid) + " " + std::to_string(start);
}

bool processOfMarkRuns(const std::string& mark) {
    std::istringstream fields(mark);
    long pid = 0;
    unsigned long long start = 0;
    if (!(fields >> pid >> start) || pid <= 0) return true;
    if (::kill(static_cast<pid_t>(pid), 0) != 0 && errno == ESRCH) return false;
    unsigned long long now = 0;
    if (!processStartTime(pid, now)) return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno != ESRCH;
    return now == start;
}

bool standardOutputIsTerminal() { return ::isatty(STDOUT_FILENO) == 1; }
bool standardErrorIsTerminal() { return ::isatty(STDERR_FILENO) == 1; }

}  // namespace ovcf
