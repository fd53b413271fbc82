// The module's own PNG encoder for screenshots: truecolour RGB, 8 bits a channel, stored
// (uncompressed) deflate blocks, so no image or compression library is needed and the cost is
// one pass over the pixels.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ovcf {

// Largest payload of one stored deflate block.
constexpr std::size_t kStoredBlockMax = 65535;

// Pixels are tightly packed RGB, width × 3 bytes a row. With rowsBottomUp the first row in
// memory is the bottom of the picture (as a GL read-back gives it); the file always starts with
// the top row. Returns false with "immagine non valida" for a size below 1 × 1, no pixels or a
// picture too large for one PNG chunk.
bool encodePng(int width, int height, const std::uint8_t* rgb, bool rowsBottomUp,
               std::vector<std::uint8_t>& out, std::string& error);

// Creates (or replaces) the file at a UTF-8 path and writes the PNG in one go. On failure the
// error names the path; a partly written file may remain.
bool writePng(const std::string& utf8Path, int width, int height, const std::uint8_t* rgb,
              bool rowsBottomUp, std::string& error);

}  // namespace ovcf
