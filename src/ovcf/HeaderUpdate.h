// Changing a few header fields of an existing .ovcf file in place: open it for writing in the
// shared mode, read the header and validate it against the file's size, change, write it back.
#pragma once

#include <string>

#include "ovcf/FileFormat.h"
#include "platform/SystemFile.h"

namespace ovcf {

// Opens `path` for reading and writing (not truncated) and reads its validated header. The
// messages begin "cannot open for writing '", "reading the header failed: " or "not a valid
// .ovcf file: ".
bool openForHeaderUpdate(const std::string& path, SystemFile& file, FileHeader& header, std::string& error);

// Writes the header back at offset 0; false after the write or the close failed.
bool writeHeaderBack(SystemFile& file, const FileHeader& header);

}  // namespace ovcf
