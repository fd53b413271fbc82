// The import summary its caller logs after a successful build.
#pragma once

#include "import/ImportStats.h"

namespace ovcf {

void logImportSummary(const ImportStats& stats);

}  // namespace ovcf
