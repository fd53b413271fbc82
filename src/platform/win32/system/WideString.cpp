#include "platform/win32/system/WideString.h"

#include <windows.h>

namespace ovcf {

std::wstring widenUtf8(const char* utf8) {
    if (!utf8 || !*utf8) return std::wstring();
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8, -1, nullptr, 0);
    if (length <= 1) return std::wstring();
    std::wstring wide(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, utf8, -1, wide.data(), length);
    wide.resize(static_cast<std::size_t>(length) - 1);
    return wide;
}

std::wstring widenUtf8(const std::string& utf8) { return widenUtf8(utf8.c_str()); }

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
    wchar_t* text = nullptr;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, code,
        MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), reinterpret_cast<wchar_t*>(&text), 0, nullptr);
    std::string result;
    if (length > 0 && text) {
        result = narrowToUtf8(text);
        while (!result.empty() && (result.back() == '\n' || result.back() == '\r' || result.back() == ' ' ||
                                   result.back() == '.'))
            result.pop_back();
    } else {
        result = "Windows error " + std::to_string(code);
    }
    if (text) LocalFree(text);
    return result;
}

}  // namespace ovcf
