// Where the cache of a host cloud file lives: beside it, its name cut at the last dot, then
// "_cache.ovcf" (scan.e57 -> scan_cache.ovcf).
#pragma once

#include <string>

namespace ovcf {

std::string cachePathFor(const std::string& cloudPath);

}  // namespace ovcf
