// Points for test files: random but repeatable, inside a node's cube, with the attributes the
// point format keeps. Shared by the file and the streaming tests.
#pragma once

#include <cstdint>
#include <random>
#include <vector>

#include "ovcf/FileFormat.h"
#include "ovcf/OvcfWriterParams.h"
#include "ovcf/PointRecord.h"

namespace ovcf::test {

// Points inside the node's cube, with attributes that the point format keeps; smooth enough to
// compress, noisy enough not to vanish.
inline std::vector<PointRecord> pointsInNode(const OvcfWriterParams& params, const NodeKey& key, std::size_t count,
                                             std::uint32_t seed) {
    std::mt19937 random(seed);
    const auto origin = nodeOrigin(params.rootOrigin, params.rootExponent, key);
    const std::uint64_t side = nodeCubeSide(params.rootExponent, key.level);
    std::vector<PointRecord> points(count);
    for (std::size_t i = 0; i < count; ++i) {
        PointRecord& p = points[i];
        p.x = origin[0] + std::uint32_t(random() % side);
        p.y = origin[1] + std::uint32_t(random() % side);
        p.z = origin[2] + std::uint32_t(random() % side);
        if (params.pointFormat >= 1) {
            p.red = std::uint8_t(random());
            p.green = std::uint8_t(i);
            p.blue = 200;
        }
        if (params.pointFormat == 2) {
            p.intensity = std::uint16_t(random());
            p.classification = std::uint8_t(i % 3);
        }
    }
    return points;
}

}  // namespace ovcf::test
