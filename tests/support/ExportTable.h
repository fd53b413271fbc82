// Reads the names a shared library exports, from its file: the export directory of a Windows
// DLL (PE32+) or the defined global dynamic symbols of an ELF64 shared object.
#pragma once

#include <string>
#include <vector>

namespace ovcf::test {

bool readExportedNames(const std::string& path, std::vector<std::string>& names, std::string& error);

}  // namespace ovcf::test
