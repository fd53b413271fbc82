// The cloud pcview shows when it is given none: a small survey-like scene generated in memory
// and indexed into a cache file by the module itself.
#pragma once

#include <string>

// Builds (or reuses) the default cache at `cachePath`; false with the module's error text.
bool buildDefaultCloud(const std::string& cachePath, std::string& error);
