// The reading pass: every point of the source once, into the root bucket (or straight into the
// root's sampling), with the integer bounding box and the signature of the points read.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "import/IndexerRun.h"
#include "import/PointBucket.h"
#include "import/PointSource.h"
#include "import/RootCube.h"

namespace ovcf {

// Where each batch goes; false with a message stops the reading.
using PointSink = std::function<bool(const PointRecord* points, std::size_t count, std::string& error)>;

// Fills run.stats.pointsRead and run.stats.signatureIn.
bool readSource(IndexerRun& run, PointSource& source, const PointSink& sink, IntegerBox& box, std::string& error);

}  // namespace ovcf
