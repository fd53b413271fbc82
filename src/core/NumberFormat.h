// Italian number style of every message: counts grouped by "." and sizes and durations with a
// decimal comma.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

std::string formatCount(std::uint64_t value);      // 1234567 -> "1.234.567"
std::string formatSize(std::uint64_t bytes);       // 1536 -> "1,50 KiB"
std::string formatDuration(double seconds);        // 75.5 -> "1 m 15,5 s"

}  // namespace ovcf
