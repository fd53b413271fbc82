// Cleaning a whole .ovcf file without a view: one of the selection filters runs through the
// selection engine over every point of the cloud (every point counts as inside the shape), and
// the points it selects are deleted and confirmed into the file as the view confirms them (map,
// count and content signature). A dry run only reports.
#pragma once

#include <cstdint>
#include <string>

#include "cloud/ViewSettings.h"
#include "selection/SelectionQuery.h"

namespace ovcf {

struct CleaningResult {
    SelectionReport report;          // the selection run, with the filter's fields
    std::uint64_t newlyDeleted = 0;  // selected points that were not deleted yet
    std::uint64_t deletedInFile = 0; // the file's deleted count afterwards (before, in a dry run)
    bool filterAvailable = true;     // false: this build has no such filter
};

// `settings.filter` names the filter, the other fields its parameters (not clamped: values the
// parameter table would refuse are taken as the filters take them). False with an English
// message when the file cannot be read or written, or no filter can be made. `threads` read the
// nodes and run the filter (0: the machine's cores); the result does not depend on them.
bool cleanCloud(const std::string& path, const SelectionSettings& settings, bool dryRun, CleaningResult& result,
                std::string& error, unsigned threads = 0);

}  // namespace ovcf
