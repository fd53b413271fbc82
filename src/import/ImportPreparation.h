// The lines an import logs before it reads: scratch folder, source, quantisation, disk space and
// RAM budget.
#pragma once

#include <cstdint>
#include <string>

#include "import/PointSource.h"

namespace ovcf {

void logImportSetup(const PointSource& source, const std::string& temporaryFolder);

// Warns when the scratch folder's disk may not hold two copies of every point.
void warnAboutDiskSpace(const std::string& temporaryFolder, std::uint64_t pointCount);

void logRamBudget(std::uint64_t ramBudget, std::uint64_t bucketLimitPoints);

}  // namespace ovcf
