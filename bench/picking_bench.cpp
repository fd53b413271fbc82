// The nearest-point search of the colour pick and the plane view, on a generated octree held in
// memory: a 1 km x 1 km terrain split into quadrants down to level 5, 5.000 points a node. Picks
// at random places near the surface, as a click on the drawn cloud gives them, and prints the
// time per pick, the points read and scanned per pick, the scan rate in million points per
// second, and the peak resident memory. The node vertices come from memory, where the view reads
// them back from the GPU.
//
// usage: picking_bench [PICKS]
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <vector>

#include "cloud/NearestPoint.h"

#include "BenchSupport.h"

using namespace ovcf;

namespace {

constexpr int kLevels = 6;
constexpr std::uint32_t kPointsPerNode = 5000;
constexpr double kSide = 1000.0;

double terrain(double x, double y) { return 20.0 * std::sin(x / 170.0) * std::cos(y / 130.0); }

struct Cloud {
    std::vector<NodeInfo> nodes;
    std::vector<std::vector<PointVertex>> vertices;
};

std::uint32_t addNode(Cloud& cloud, std::mt19937_64& random, std::uint32_t level, double x0, double y0, double side) {
    const auto index = static_cast<std::uint32_t>(cloud.nodes.size());
    NodeInfo node;
    node.level = level;
    node.boxMin = {x0, y0, -25.0};
    node.boxMax = {x0 + side, y0 + side, 25.0};
    node.origin[0] = static_cast<float>(x0);
    node.origin[1] = static_cast<float>(y0);
    node.pointCount = kPointsPerNode;
    std::uniform_real_distribution<double> unit(0.0, 1.0);
    std::vector<PointVertex> points(kPointsPerNode);
    for (PointVertex& p : points) {
        const double u = unit(random) * side, v = unit(random) * side;
        p = {static_cast<float>(u), static_cast<float>(v), static_cast<float>(terrain(x0 + u, y0 + v)), 90, 120, 60, 255,
             0, 2, 0};
    }
    cloud.nodes.push_back(node);
    cloud.vertices.push_back(std::move(points));
    if (level + 1 < kLevels)
        for (int q = 0; q < 4; ++q) {
            const std::uint32_t child =
                addNode(cloud, random, level + 1, x0 + (q & 1) * side / 2, y0 + (q >> 1) * side / 2, side / 2);
            cloud.nodes[index].children[q] = child;
        }
    return index;
}

}  // namespace

int main(int argc, char** argv) {
    const int picks = argc > 1 ? std::max(1, std::atoi(argv[1])) : 2000;
    std::mt19937_64 random(20261122);
    Cloud cloud;
    addNode(cloud, random, 0, 0.0, 0.0, kSide);
    std::printf("picking bench: %zu nodes, %zu points\n", cloud.nodes.size(), cloud.nodes.size() * kPointsPerNode);

    std::uint64_t read = 0, found = 0;
    const NodeVertices vertices = [&](std::uint32_t node, std::vector<PointVertex>& out) {
        out = cloud.vertices[node];
        read += out.size();
        return true;
    };
    const PointShown shown = [](const Vec3d&, const PointVertex&) { return true; };
    std::uniform_real_distribution<double> unit(0.0, kSide);
    const bench::Clock::time_point start = bench::Clock::now();
    for (int i = 0; i < picks; ++i) {
        const double x = unit(random), y = unit(random);
        found += findNearestPoint(cloud.nodes, {x, y, terrain(x, y) + 0.05}, kPickRadius, vertices, shown).has_value();
    }
    const double seconds = bench::secondsSince(start);
    std::printf("%d picks: %.3f ms a pick, %.0f points read a pick, %.1f M points/s scanned, %llu found\n", picks,
                1000.0 * seconds / picks, double(read) / picks, double(read) / seconds / 1e6,
                static_cast<unsigned long long>(found));
    std::printf("peak resident memory: %.1f MiB\n", bench::statusMiB("VmHWM:"));
    return 0;
}
