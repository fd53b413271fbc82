// Writing a view's deleted-points map and count into its .ovcf file in place. Point records, the
// hierarchy and the point count never change, so the view's readers are not disturbed and every
// deleted point can come back later.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace ovcf {

// Writes `byteCount` bytes of map (bit i%8 of byte i/8 is point i) over the file's map, then the
// deleted count (and, when given, the current content signature) into the header in one write,
// which goes last. When `previous` holds the map as the file has it now, only the changed 4 KiB
// pages are written. All or nothing: when a write fails, the map bytes already written are put
// back, so the file stays as it was byte for byte. False with an English message; nothing is
// written when a check fails.
bool commitDeletedMap(const std::string& path, const std::uint8_t* bytes, std::size_t byteCount,
                      std::uint64_t deletedCount, std::string& error, const std::uint8_t* previous = nullptr,
                      const std::uint64_t* currentSignature = nullptr);

// The file name without its folder, for log lines.
std::string fileNameOf(const std::string& path);

}  // namespace ovcf
