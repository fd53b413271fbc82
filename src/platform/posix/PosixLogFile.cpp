#include "platform/SystemLogFile.h"

namespace ovcf {

std::FILE* openLogFileForWriting(const char* utf8Path) { return std::fopen(utf8Path, "wb"); }

}  // namespace ovcf
