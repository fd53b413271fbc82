// The content signature a host cloud would have in a given cache: every point quantised with the
// cache's own step and offset exactly as the builder does, with the colours the cache's point
// format keeps. Equal to the signature the builder wrote when the cloud is the same.
#pragma once

#include <cstdint>
#include <string>

#include "ovcf/FileFormat.h"

namespace ovcf {

std::uint64_t hostCloudSignature(const FileHeader& cache, const double* xyz, const std::uint32_t* colours,
                                 std::uint64_t count);

// Probes the cache's header first; false with the probe's message when it is not a readable
// version 1.0 file (`signature` is then 0).
bool computeCacheSignature(const std::string& cachePath, const double* xyz, const std::uint32_t* colours,
                           std::uint64_t count, std::uint64_t& signature, std::string& error);

}  // namespace ovcf
