// Opens a point file as a source, choosing the reader by the file's first bytes: "LASF" is LAS, or
// LAZ when its point format marks compressed records; "ply" is PLY; anything else is XYZ text.
#pragma once

#include <memory>
#include <string>

#include "import/PointSource.h"

namespace ovcf {

// `step` above 0 re-quantises with that step; 0 keeps a LAS file's own scale and gives text and
// PLY files the default step. Null with the reason (naming the file) in `error`.
// `threads` decode a compressed file (0: every core).
std::unique_ptr<PointSource> openPointFile(const std::string& path, double step, std::string& error,
                                           unsigned threads = 0);

}  // namespace ovcf
