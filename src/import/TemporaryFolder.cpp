#include "import/TemporaryFolder.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <random>

#include "platform/SystemInfo.h"

namespace ovcf {

namespace {

constexpr int kNameAttempts = 64;

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
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const auto clock = std::chrono::high_resolution_clock::now().time_since_epoch().count();
        char name[64];
        std::snprintf(name, sizeof name, "%s_%llx_%08x", "ovcf_import", static_cast<unsigned long long>(clock),
                      nextNameNumber());
        const std::string candidate = joinPath(base, name);
        std::string reason;
        switch (createFolder(candidate, reason)) {
        case FolderCreation::Created:
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

}  // namespace ovcf
