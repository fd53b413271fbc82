// The metadata section of a .ovcf file: "key=value" lines, each ended by a line feed, with no
// terminating zero.
#pragma once

#include <string>

namespace ovcf {

// The module's version text recorded under "module".
constexpr const char* kModuleVersionText = "0.10.0";

// "source" (only when not empty), "created", "module", in that order; carriage returns and line
// feeds inside values become spaces.
std::string composeMetadata(const std::string& source, const std::string& created);

// The current local time as "%Y-%m-%dT%H:%M:%S".
std::string localTimestamp();

}  // namespace ovcf
