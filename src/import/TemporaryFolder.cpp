#include "import/TemporaryFolder.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>

#include "core/Log.h"
#include "platform/SystemFile.h"
#include "platform/SystemInfo.h"

namespace ovcf {

namespace {

constexpr int kNameAttempts = 64;
constexpr const char* kNamePrefix = "ovcf_import_";
constexpr const char* kMarkPrefix = "ovcf_import ";

bool endsWith(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool writeOwnerMark(const std::string& folder, std::string& reason) {
    SystemFile file;
    const std::string text = kMarkPrefix + currentProcessMark() + "\n";
    if (file.open(joinPath(folder, TemporaryFolder::kOwnerFile), SystemFile::Mode::Create) &&
        file.write(text.data(), text.size()) && file.close())
        return true;
    reason = file.lastErrorText();
    return false;
}

// The owner's mark of a folder; empty when the folder has none (then it is not ours to touch).
std::string ownerMark(const std::string& folder) {
    SystemFile file;
    std::uint64_t size = 0;
    char text[128] = {};
    if (!file.open(joinPath(folder, TemporaryFolder::kOwnerFile), SystemFile::Mode::Read) || !file.size(size) ||
        size >= sizeof text || !file.readAt(0, text, static_cast<std::size_t>(size)))
        return {};
    const std::string mark(text, static_cast<std::size_t>(size));
    const std::string prefix = kMarkPrefix;
    if (mark.compare(0, prefix.size(), prefix) != 0 || !endsWith(mark, "\n")) return {};
    return mark.substr(prefix.size(), mark.size() - prefix.size() - 1);
}

// A number that differs between names made in the same clock tick, by this process or another.
std::uint32_t nextNameNumber() {
    static std::atomic<std::uint32_t> counter{[] {
        std::random_device device;
        return static_cast<std::uint32_t>(device());
    }()};
    return counter.fetch_add(0x9E3779B9u);
}

}  // namespace

TemporaryFolder::~TemporaryFolder() { remove(); }

void TemporaryFolder::remove() {
    if (path_.empty()) return;
    SystemFile::deleteFile(joinPath(path_, kOwnerFile));
    removeEmptyFolder(path_);
    path_.clear();
}

bool TemporaryFolder::create(const std::string& parent, std::string& error) {
    remove();
    const std::string base = parent.empty() ? systemTemporaryFolder() : parent;
    if (!isFolder(base)) {
        error = "cannot create a temporary folder under '" + base + "': the folder does not exist";
        return false;
    }
    removeAbandoned(base);
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const auto clock = std::chrono::high_resolution_clock::now().time_since_epoch().count();
        char name[64];
        std::snprintf(name, sizeof name, "%s_%llx_%08x", "ovcf_import", static_cast<unsigned long long>(clock),
                      nextNameNumber());
        const std::string candidate = joinPath(base, name);
        std::string reason;
        switch (createFolder(candidate, reason)) {
        case FolderCreation::Created:
            if (!writeOwnerMark(candidate, reason)) {
                SystemFile::deleteFile(joinPath(candidate, kOwnerFile));
                removeEmptyFolder(candidate);
                error = "cannot create temporary folder '" + candidate + "': " + reason;
                return false;
            }
            path_ = candidate;
            return true;
        case FolderCreation::AlreadyExists:
            continue;
        case FolderCreation::Failed:
            error = "cannot create temporary folder '" + candidate + "': " + reason;
            return false;
        }
    }
    error = "cannot create a temporary folder under '" + base + "': every name tried is already taken";
    return false;
}

int TemporaryFolder::removeAbandoned(const std::string& parent) {
    std::vector<FolderEntry> entries;
    if (!listFolder(parent, entries)) return 0;
    int removed = 0;
    for (const FolderEntry& entry : entries) {
        if (!entry.isFolder || entry.name.compare(0, std::string(kNamePrefix).size(), kNamePrefix) != 0) continue;
        const std::string folder = joinPath(parent, entry.name);
        const std::string mark = ownerMark(folder);
        if (mark.empty() || processOfMarkRuns(mark)) continue;
        std::vector<FolderEntry> files;
        if (!listFolder(folder, files)) continue;
        for (const FolderEntry& file : files)
            if (!file.isFolder && endsWith(file.name, ".pts")) SystemFile::deleteFile(joinPath(folder, file.name));
        SystemFile::deleteFile(joinPath(folder, kOwnerFile));
        // Anything else that was put there keeps the folder.
        if (removeEmptyFolder(folder)) {
            ++removed;
            if (logLevelThreshold() <= LogInfo)
                logLine(LogInfo, "rimossa la cartella temporanea di un import interrotto: %s", folder.c_str());
        }
    }
    return removed;
}

}  // namespace ovcf
