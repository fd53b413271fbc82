// Builds a .ovcf file from a point source of any size within a RAM budget: one reading pass into
// a root bucket (spilling to a scratch folder when needed), then a top-down split into an octree
// whose nodes keep one point per grid cell as their level-of-detail sample, written parents
// first. The run ends by checking that the points written are the points read.
//
// Runs on the calling thread. The file is written under a temporary name and put in place only
// after the final checks, so every failure leaves the message in `error`, any file already at
// `outputPath` as it was, no temporary file and no scratch folder.
#pragma once

#include <string>

#include "import/ImportOptions.h"
#include "import/ImportStats.h"
#include "import/PointSource.h"

namespace ovcf {

bool buildOctree(PointSource& source, const std::string& outputPath, const ImportOptions& options,
                 ImportStats& stats, std::string& error);

}  // namespace ovcf
