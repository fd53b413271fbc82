// The parts of SystemFile that do not depend on the system: ownership moves with the handle.
#include "platform/SystemFile.h"

namespace ovcf {

SystemFile::~SystemFile() { close(); }

SystemFile::SystemFile(SystemFile&& other) noexcept
    : handle_(other.handle_), position_(other.position_), lastError_(other.lastError_), endOfFile_(other.endOfFile_) {
    other.handle_ = -1;
}

SystemFile& SystemFile::operator=(SystemFile&& other) noexcept {
    if (this != &other) {
        close();
        handle_ = other.handle_;
        position_ = other.position_;
        lastError_ = other.lastError_;
        endOfFile_ = other.endOfFile_;
        other.handle_ = -1;
    }
    return *this;
}

}  // namespace ovcf
