// A survey-like .ovcf file written straight through the writer, for the benchmarks that edit a
// cloud rather than build one.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "ovcf/OvcfWriter.h"

namespace ovcf::bench {

// A full octree four levels deep over a 400 m square site at 1 mm, points on a gently rolling
// surface in every node's cube: about as many nodes and points per node as a real cache.
inline bool writeSurvey(const std::string& path, std::size_t count, std::string& error) {
    OvcfWriterParams params;
    for (int a = 0; a < 3; ++a) params.step[a] = 0.001;
    params.offset[0] = 600000.0;
    params.offset[1] = 5000000.0;
    params.offset[2] = 0.0;
    params.rootExponent = 19;  // 524 m
    params.pointFormat = 2;
    params.compression = true;
    for (int a = 0; a < 3; ++a) {
        params.boundsMin[a] = params.offset[a];
        params.boundsMax[a] = params.offset[a] + 524.288;
    }
    std::vector<NodeKey> keys{{0, 0, 0, 0}};
    for (std::size_t i = 0; i < keys.size(); ++i)
        if (keys[i].level < 4)
            for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[i], o));
    OvcfWriter writer;
    if (!writer.open(path, params, error)) return false;
    std::mt19937 random(7);
    const std::size_t perNode = count / keys.size();
    std::vector<PointRecord> points(perNode);
    for (const NodeKey& key : keys) {
        const auto origin = nodeOrigin(params.rootOrigin, params.rootExponent, key);
        const std::uint64_t side = nodeCubeSide(params.rootExponent, key.level);
        for (PointRecord& p : points) {
            p.x = origin[0] + std::uint32_t(random() % side);
            p.y = origin[1] + std::uint32_t(random() % side);
            p.z = origin[2] + std::uint32_t(random() % side);
            p.intensity = std::uint16_t(random());
            p.red = std::uint8_t(p.x >> 8);
            p.green = std::uint8_t(p.y >> 8);
            p.blue = 90;
            p.classification = 2;
        }
        if (!writer.writeNode(key, points.data(), points.size(), error)) return false;
    }
    return writer.close(error);
}

}  // namespace ovcf::bench
