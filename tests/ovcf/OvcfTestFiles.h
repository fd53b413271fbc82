// Helpers of the .ovcf tests: synthetic clouds arranged as octrees, files written from them, and
// raw byte access for crafting damaged files.
#pragma once

#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "ovcf/FileFormat.h"
#include "ovcf/OvcfWriter.h"
#include "ovcf/PointRecord.h"
#include "TestPoints.h"

namespace ovcf::test {

struct TestNode {
    NodeKey key;
    std::vector<PointRecord> points;
};

inline OvcfWriterParams testParams(std::uint32_t pointFormat, bool compression, std::uint32_t rootExponent = 16) {
    OvcfWriterParams params;
    params.step[0] = params.step[1] = params.step[2] = 0.001;
    params.offset[0] = 500000.0;
    params.offset[1] = 4000000.0;
    params.offset[2] = 100.0;
    params.rootOrigin[0] = 1000;
    params.rootOrigin[1] = 2000;
    params.rootOrigin[2] = 3000;
    params.rootExponent = rootExponent;
    params.pointFormat = pointFormat;
    params.compression = compression;
    params.gridSize = 128;
    params.maxNodePoints = 20000;
    for (int a = 0; a < 3; ++a) {
        params.boundsMin[a] = params.offset[a] + params.rootOrigin[a] * params.step[a];
        params.boundsMax[a] = params.boundsMin[a] + double(std::uint64_t{1} << rootExponent) * params.step[a];
    }
    params.source = "test cloud";
    return params;
}

// Root, its eight children, two grandchildren and one great-grandchild (12 nodes, deepest
// level 3), parents first, with different point counts.
inline std::vector<TestNode> makeTree(const OvcfWriterParams& params, std::size_t pointsPerNode) {
    std::vector<NodeKey> keys{{0, 0, 0, 0}};
    for (std::uint32_t o = 0; o < 8; ++o) keys.push_back(childKey(keys[0], o));
    keys.push_back(childKey(keys[3], 5));
    keys.push_back(childKey(keys[8], 0));
    keys.push_back(childKey(keys[9], 7));
    std::vector<TestNode> nodes;
    for (std::size_t i = 0; i < keys.size(); ++i)
        nodes.push_back({keys[i], pointsInNode(params, keys[i], pointsPerNode + 37 * i, std::uint32_t(i + 1))});
    return nodes;
}

inline bool writeTestFile(const std::string& path, const OvcfWriterParams& params, const std::vector<TestNode>& nodes,
                          std::string& error) {
    OvcfWriter writer;
    if (!writer.open(path, params, error)) return false;
    for (const TestNode& node : nodes)
        if (!writer.writeNode(node.key, node.points.data(), node.points.size(), error)) return false;
    return writer.close(error);
}

// The standard-library streams take the native-narrow path; tests keep them to ASCII paths.
inline std::vector<std::uint8_t> readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline void writeBytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()), std::streamsize(bytes.size()));
}

template <typename T>
inline void patch(std::vector<std::uint8_t>& bytes, std::size_t offset, T value) {
    for (std::size_t i = 0; i < sizeof(T); ++i) bytes[offset + i] = std::uint8_t(std::uint64_t(value) >> (8 * i));
}

template <typename T>
inline T peek(const std::vector<std::uint8_t>& bytes, std::size_t offset) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < sizeof(T); ++i) value |= std::uint64_t(bytes[offset + i]) << (8 * i);
    return T(value);
}

// Offset of field `field` (byte offset inside the record) of hierarchy record `node`.
inline std::size_t recordField(const std::vector<std::uint8_t>& file, std::size_t node, std::size_t field) {
    return std::size_t(peek<std::uint64_t>(file, 160)) + node * kHierarchyRecordSize + field;
}

// The fields a point format keeps; the others read back as 0.
inline PointRecord keptFields(PointRecord p, std::uint32_t pointFormat) {
    if (pointFormat < 2) p.intensity = p.classification = 0;
    if (pointFormat < 1) p.red = p.green = p.blue = 0;
    return p;
}

}  // namespace ovcf::test

namespace ovcf::test {

// Small valid files of every kind, as a starting point for damaged copies and as the fuzzer's
// seeds: every point format with and without compression, one point, an empty node, a deeper tree
// and a newer minor version. Each stays below 16 KiB.
inline std::vector<std::string> writeSeedFiles(const std::string& folder, std::string& error) {
    std::vector<std::string> paths;
    const auto add = [&](const std::string& name, const OvcfWriterParams& params, const std::vector<TestNode>& nodes) {
        const std::string path = folder + "/" + name;
        if (!writeTestFile(path, params, nodes, error)) return false;
        paths.push_back(path);
        return true;
    };
    for (std::uint32_t format = 0; format <= 2; ++format) {
        for (bool compression : {false, true}) {
            const OvcfWriterParams params = testParams(format, compression);
            std::vector<TestNode> nodes = makeTree(params, 3);
            nodes.resize(4);
            if (!add("tree" + std::to_string(format) + (compression ? "c" : "r") + ".ovcf", params, nodes)) return {};
        }
    }
    const OvcfWriterParams params = testParams(2, true, 32);
    if (!add("one.ovcf", params, {{{0, 0, 0, 0}, pointsInNode(params, {0, 0, 0, 0}, 1, 1)}})) return {};
    const NodeKey child = childKey({0, 0, 0, 0}, 2);
    if (!add("empty-node.ovcf", params,
             {{{0, 0, 0, 0}, std::vector<PointRecord>(200, PointRecord{7, 8, 9, 10, 11, 12, 13, 14})}, {child, {}}}))
        return {};
    const OvcfWriterParams deep = testParams(1, true, 2);
    std::vector<TestNode> chain{{{0, 0, 0, 0}, pointsInNode(deep, {0, 0, 0, 0}, 9, 3)}};
    for (std::uint32_t level = 1; level <= 4; ++level)
        chain.push_back({childKey(chain.back().key, level % 8), pointsInNode(deep, childKey(chain.back().key, level % 8), 5, level)});
    if (!add("deep.ovcf", deep, chain)) return {};
    std::vector<std::uint8_t> newer = readBytes(paths.front());
    patch<std::uint16_t>(newer, 6, 3);
    writeBytes(folder + "/newer-minor.ovcf", newer);
    paths.push_back(folder + "/newer-minor.ovcf");
    return paths;
}

}  // namespace ovcf::test
