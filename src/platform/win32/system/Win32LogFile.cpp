#include "platform/SystemLogFile.h"

#include <cwchar>

#include "platform/win32/system/WideString.h"

namespace ovcf {

std::FILE* openLogFileForWriting(const char* utf8Path) {
    const std::wstring wide = widenUtf8(utf8Path);
    return wide.empty() ? nullptr : _wfopen(wide.c_str(), L"wb");
}

}  // namespace ovcf
