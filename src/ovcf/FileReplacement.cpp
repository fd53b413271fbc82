#include "ovcf/FileReplacement.h"

#include <atomic>
#include <cstdint>

#include "platform/SystemInfo.h"

namespace ovcf {
namespace {

// A name left by a process that ended with the same id is passed over.
constexpr int kNameAttempts = 64;

std::string temporaryPathFor(const std::string& target) {
    static std::atomic<std::uint64_t> replacements{0};
    return target + "." + std::to_string(currentProcessId()) + "-" + std::to_string(++replacements) + ".part";
}

}  // namespace

bool FileReplacement::begin(const std::string& target) {
    abandon();
    for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
        const std::string temporary = temporaryPathFor(target);
        if (file_.open(temporary, SystemFile::Mode::CreateNew)) {
            target_ = target;
            temporaryPath_ = temporary;
            return true;
        }
        if (!file_.lastErrorIsAlreadyExists()) return false;
    }
    return false;
}

bool FileReplacement::commit(std::string& error) {
    if (!pending()) {
        error = "no replacement file is open";
        return false;
    }
    if (file_.isOpen()) {
        if (!file_.flush()) {
            error = "flushing '" + temporaryPath_ + "' to disk failed: " + file_.lastErrorText();
            return false;
        }
        if (!file_.close()) {
            error = "closing the file failed: " + file_.lastErrorText();
            return false;
        }
    }
    std::string reason;
    if (!SystemFile::replaceFile(temporaryPath_, target_, reason)) {
        error = "cannot rename '" + temporaryPath_ + "' to '" + target_ + "': " + reason;
        return false;
    }
    temporaryPath_.clear();
    return true;
}

bool FileReplacement::abandon() {
    file_.close();
    if (!pending()) return false;
    // Nothing more can be done about a failed deletion here; the caller has its own error.
    SystemFile::deleteFile(temporaryPath_);
    temporaryPath_.clear();
    return true;
}

}  // namespace ovcf
