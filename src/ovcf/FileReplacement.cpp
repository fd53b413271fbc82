#include "ovcf/FileReplacement.h"

namespace ovcf {

bool FileReplacement::begin(const std::string& target) {
    abandon();
    const std::string temporary = temporaryPathFor(target);
    if (!file_.open(temporary, SystemFile::Mode::Create)) return false;
    target_ = target;
    temporaryPath_ = temporary;
    return true;
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
