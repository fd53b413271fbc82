// The reading pass: every point of the source once, into the root bucket, with the integer
// bounding box and the signature of the points read.
#pragma once

#include <string>

#include "import/IndexerRun.h"
#include "import/PointBucket.h"
#include "import/PointSource.h"
#include "import/RootCube.h"

namespace ovcf {

// Fills run.stats.pointsRead and run.stats.signatureIn.
bool readSource(IndexerRun& run, PointSource& source, PointBucket& root, IntegerBox& box, std::string& error);

}  // namespace ovcf
