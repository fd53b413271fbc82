// UTF-8 <-> UTF-16 for the Windows wide-character calls; paths cross the interface as UTF-8.
#pragma once

#include <string>

namespace ovcf {

std::wstring widenUtf8(const char* utf8);
std::wstring widenUtf8(const std::string& utf8);
std::string narrowToUtf8(const wchar_t* wide);
// The system's English text for a Win32 error code, without the trailing line break.
std::string win32ErrorText(unsigned long code);

}  // namespace ovcf
