// The parts of SystemFile that do not depend on the system: ownership moves with the handle.
#include "platform/SystemFile.h"

#include <atomic>

namespace ovcf {
namespace {

std::atomic<SystemFile::FaultHook> faultHook{nullptr};
void* faultContext = nullptr;  // changed only while no hook is set

}  // namespace

void SystemFile::setFaultHook(FaultHook hook, void* context) {
    faultHook.store(nullptr, std::memory_order_release);
    faultContext = context;
    faultHook.store(hook, std::memory_order_release);
}

bool SystemFile::faultInjected(Operation operation) {
    const FaultHook hook = faultHook.load(std::memory_order_acquire);
    return hook && hook(operation, faultContext);
}

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
