// UTF-8 <-> UTF-16 for the Windows wide-character calls; paths cross the interface as UTF-8.
#pragma once

#include <string>

namespace ovcf {

// Strict: an empty text or bytes that are not UTF-8 fail, with the thread's Win32 error set.
bool widenUtf8(const std::string& utf8, std::wstring& wide);
// The same, with an empty result for anything that does not convert.
std::wstring widenUtf8(const std::string& utf8);
std::string narrowToUtf8(const wchar_t* wide);
// The system's text for a Win32 error code (English when the system has it), without the
// final full stop and line break; "unknown error" when there is none.
std::string win32ErrorText(unsigned long code);

}  // namespace ovcf
