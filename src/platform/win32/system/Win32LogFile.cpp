#include "platform/SystemLogFile.h"

#include <io.h>

#include <cwchar>

#include "platform/win32/system/WideString.h"

namespace ovcf {

std::FILE* openLogFileForWriting(const char* utf8Path) {
    const std::wstring wide = widenUtf8(utf8Path);
    return wide.empty() ? nullptr : _wfopen(wide.c_str(), L"wb");
}

void writeLogFileDirect(std::FILE* file, const char* data, std::size_t size) {
    const int descriptor = _fileno(file);
    while (size > 0) {
        const unsigned chunk = size > 0x40000000u ? 0x40000000u : static_cast<unsigned>(size);
        const int written = _write(descriptor, data, chunk);
        if (written <= 0) return;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

}  // namespace ovcf
