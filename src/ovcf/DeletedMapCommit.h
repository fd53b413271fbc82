// Writing a view's deleted-points map and count into its .ovcf file in place. Point records, the
// hierarchy and the point count never change, so the view's readers are not disturbed and every
// deleted point can come back later.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovcf {

// Writes `byteCount` bytes of map (bit i%8 of byte i/8 is point i) over the file's map, then the
// deleted count into the header, which goes last so that a failure before it leaves the old
// count. When `previous` holds the map as the file has it now, only the changed 4 KiB pages are
// written. False with an English message; nothing is written when a check fails.
bool commitDeletedMap(const std::string& path, const std::uint8_t* bytes, std::size_t byteCount,
                      std::uint64_t deletedCount, std::string& error, const std::uint8_t* previous = nullptr);

// The file name without its folder, for log lines.
std::string fileNameOf(const std::string& path);

}  // namespace ovcf
