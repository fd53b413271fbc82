// The files of a crash report on POSIX: written with open/write/close only, from a signal handler.
// No minidump exists here.
#include <fcntl.h>
#include <unistd.h>

#include "platform/CrashHandlers.h"

namespace ovcf {

bool writeCrashDump(const char*, const CrashFacts&, bool, const char*) { return false; }

bool writeCrashFile(const char* utf8Path, const char* data, std::size_t size) {
    const int descriptor = ::open(utf8Path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (descriptor < 0) return false;
    bool ok = true;
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written <= 0) {
            ok = false;
            break;
        }
        data += written;
        size -= static_cast<std::size_t>(written);
    }
    return ::close(descriptor) == 0 && ok;
}

}  // namespace ovcf
