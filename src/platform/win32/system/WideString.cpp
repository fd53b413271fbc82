#include "platform/win32/system/WideString.h"

#include <windows.h>

#include <iterator>

namespace ovcf {

bool widenUtf8(const std::string& utf8, std::wstring& wide) {
    wide.clear();
    if (utf8.empty()) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return false;
    }
    if (utf8.size() > 0x7FFFFFFF) {
        SetLastError(ERROR_FILENAME_EXCED_RANGE);
        return false;
    }
    const int length = static_cast<int>(utf8.size());
    const int needed = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), length, nullptr, 0);
    if (needed <= 0) return false;
    wide.resize(static_cast<std::size_t>(needed));
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), length, wide.data(), needed) == needed;
}

std::wstring widenUtf8(const std::string& utf8) {
    std::wstring wide;
    return widenUtf8(utf8, wide) ? wide : std::wstring();
}

std::string narrowToUtf8(const wchar_t* wide) {
    if (!wide || !*wide) return std::string();
    const int length = WideCharToMultiByte(CP_UTF8, 0, wide, -1, nullptr, 0, nullptr, nullptr);
    if (length <= 1) return std::string();
    std::string utf8(static_cast<std::size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide, -1, utf8.data(), length, nullptr, nullptr);
    utf8.resize(static_cast<std::size_t>(length) - 1);
    return utf8;
}

std::string win32ErrorText(unsigned long code) {
    const DWORD flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t buffer[512];
    DWORD length = FormatMessageW(flags, nullptr, code, MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), buffer,
                                  static_cast<DWORD>(std::size(buffer)), nullptr);
    if (length == 0)
        length = FormatMessageW(flags, nullptr, code, 0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
    // Messages end with ".\r\n"; the texts they are appended to have no final full stop.
    while (length > 0 && (buffer[length - 1] == L'\r' || buffer[length - 1] == L'\n' || buffer[length - 1] == L' ' ||
                          buffer[length - 1] == L'.'))
        --length;
    if (length == 0) return "unknown error";
    buffer[length] = L'\0';
    const std::string text = narrowToUtf8(buffer);
    return text.empty() ? std::string("unknown error") : text;
}

}  // namespace ovcf
