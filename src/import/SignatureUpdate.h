// The file side of bringing a cache's current content signature up to date after deletions were
// confirmed: only the header's current-signature field changes, and only when the file's alive
// point count is the one the new signature covers.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

bool updateSignature(const std::string& cachePath, std::uint64_t expectedAlive, std::uint64_t newSignature,
                     std::string& error);

}  // namespace ovcf
