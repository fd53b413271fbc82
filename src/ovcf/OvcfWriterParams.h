// Parameters of a new .ovcf file, given by the octree indexer when it opens the writer.
#pragma once

#include <cstdint>
#include <string>

namespace ovcf {

struct OvcfWriterParams {
    double step[3] = {0.0001, 0.0001, 0.0001};  // metres per quantised unit
    double offset[3] = {};                       // world coordinate of quantised 0
    double boundsMin[3] = {};                    // bounding box of the source cloud, world units
    double boundsMax[3] = {};
    std::uint32_t rootOrigin[3] = {};  // root cube origin, quantised units
    std::uint32_t rootExponent = 1;    // root cube side = 2^E units, 1 to 32
    std::uint32_t pointFormat = 0;     // 0 XYZ, 1 XYZ+RGB, 2 XYZ+RGB+intensity+class
    bool compression = true;           // LZ4 for blocks that get smaller
    std::uint32_t gridSize = 0;        // recorded in the header only
    std::uint32_t maxNodePoints = 0;   // recorded in the header only
    std::string source;                // metadata "source" when not empty
};

}  // namespace ovcf
