#include "platform/SystemLogFile.h"

#include <unistd.h>

namespace ovcf {

std::FILE* openLogFileForWriting(const char* utf8Path) { return std::fopen(utf8Path, "wb"); }

void writeLogFileDirect(std::FILE* file, const char* data, std::size_t size) {
    const int descriptor = fileno(file);
    while (size > 0) {
        const ssize_t written = ::write(descriptor, data, size);
        if (written <= 0) return;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

}  // namespace ovcf
