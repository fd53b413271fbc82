// The last check of an import: as many points written as read, and the same point set.
#pragma once

#include <string>

#include "import/ImportStats.h"

namespace ovcf {

bool checkImportConsistency(const ImportStats& stats, std::string& error);

}  // namespace ovcf
