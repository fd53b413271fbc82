// What an import did, for the summary the caller logs.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ovcf {

struct LevelStats {
    std::uint64_t nodes = 0;
    std::uint64_t points = 0;
};

// Points that came from one input file of a build from several.
struct InputPoints {
    std::string name;
    std::uint64_t points = 0;
};

struct ImportStats {
    std::uint64_t pointsRead = 0;
    std::uint64_t pointsWritten = 0;
    std::uint64_t nodeCount = 0;
    std::uint64_t leafCount = 0;  // nodes without children
    std::uint32_t deepestLevel = 0;
    std::uint64_t largestNode = 0;  // points
    std::vector<LevelStats> levels;  // index = level
    std::uint32_t pointFormat = 0;
    std::uint64_t fileSize = 0;
    std::uint64_t rawBytes = 0;
    std::uint64_t storedBytes = 0;
    std::uint64_t temporaryBytes = 0;  // written to bucket files
    std::uint64_t signatureIn = 0;
    std::uint64_t signatureOut = 0;
    double readingSeconds = 0.0;
    double indexingSeconds = 0.0;
    double totalSeconds = 0.0;
    std::vector<InputPoints> inputs;  // filled by the caller of a build from several files
};

}  // namespace ovcf
