#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "cloud/CloudNodes.h"
#include "cloud/LevelOfDetail.h"
#include "navigation/CameraLod.h"

namespace ovcf {
namespace {

constexpr double kPi = 3.14159265358979323846;

// A cube of 1024 m from the world origin (1 m steps), every node of a full octree down to
// `depth`, breadth first, `points` points each.
struct SyntheticCloud {
    FileHeader header;
    std::vector<HierarchyRecord> records;
    Vec3d reference;
    std::vector<NodeInfo> nodes;

    SyntheticCloud(std::uint32_t depth, std::uint32_t points) {
        for (int a = 0; a < 3; ++a) {
            header.step[a] = 1.0;
            header.boundsMax[a] = 1024.0;
        }
        header.rootExponent = 10;
        std::vector<NodeKey> keys{{0, 0, 0, 0}};
        records.push_back({});
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const NodeKey key = keys[i];
            if (key.level == depth) continue;
            for (std::uint32_t o = 0; o < 8; ++o) {
                records[i].children[o] = std::uint32_t(keys.size());
                records[i].childMask |= std::uint8_t(1u << o);
                keys.push_back(childKey(key, o));
                records.push_back({});
            }
        }
        std::uint64_t first = 0;
        for (std::size_t i = 0; i < keys.size(); ++i) {
            records[i].level = std::uint8_t(keys[i].level);
            records[i].keyX = keys[i].x;
            records[i].keyY = keys[i].y;
            records[i].keyZ = keys[i].z;
            records[i].pointCount = points;
            records[i].firstPoint = first;
            first += points;
        }
        header.nodeCount = std::uint32_t(records.size());
        header.pointCount = first;
        reference = cloudReferencePoint(header);
        nodes = describeNodes(header, records, reference);
    }
};

// The camera looking at world point `target` from `distance`, with the cloud's render origin.
Camera cameraAt(const SyntheticCloud& cloud, Vec3d target, double distance, double yaw, double pitch,
                double fovDegrees = 45.0) {
    Camera camera;
    camera.setViewport(800, 600);
    camera.renderOrigin = cloud.reference;
    camera.sceneRadius = 900.0;
    camera.fieldOfView = fovDegrees * kPi / 180.0;
    camera.target = target;
    camera.distance = distance;
    camera.yaw = yaw;
    camera.pitch = pitch;
    return camera;
}

Camera cameraOnWholeCloud(const SyntheticCloud& cloud) {
    Camera camera = cameraAt(cloud, {512, 512, 512}, 100, -50, 30);
    camera.fitBox({0, 0, 0}, {1024, 1024, 1024});
    return camera;
}

struct Requests {
    std::vector<std::uint32_t> nodes;
    std::vector<float> priorities;
    LevelOfDetail::Request sink() {
        return [this](std::uint32_t node, float priority) {
            nodes.push_back(node);
            priorities.push_back(priority);
        };
    }
};

const LevelOfDetail::IsLoaded nothingLoaded = [](std::uint32_t) { return false; };
const LevelOfDetail::IsLoaded everythingLoaded = [](std::uint32_t) { return true; };

// Projected diameter in pixels, computed here from the geometry of the node's cube.
double expectedPriority(const SyntheticCloud& cloud, const Camera& camera, std::uint32_t node) {
    const HierarchyRecord& r = cloud.records[node];
    const double side = 1024.0 / double(1u << r.level);
    const Vec3d centre{(r.keyX + 0.5) * side, (r.keyY + 0.5) * side, (r.keyZ + 0.5) * side};
    const double radius = side * std::sqrt(3.0) / 2.0;
    const double d = length(centre - camera.eyePosition());
    if (d <= radius) return 1e9;
    return 2.0 * radius * (600.0 / (2.0 * std::tan(camera.fieldOfView / 2.0))) / d;
}

TEST(LevelOfDetail, TheRootIsChosenEvenWhenItAloneExceedsTheBudget) {
    SyntheticCloud cloud(1, 500000);
    LevelOfDetail lod;
    Requests requests;
    lod.select(cloud.nodes, lodViewOf(cameraOnWholeCloud(cloud), nullptr), 0, 100000, 1, nothingLoaded,
               requests.sink());
    EXPECT_EQ(lod.chosen(), std::vector<std::uint32_t>{0});
    EXPECT_TRUE(lod.counters().budgetReached);
    EXPECT_EQ(lod.counters().chosenPoints, 500000u);
    ASSERT_FALSE(requests.nodes.empty());
    EXPECT_EQ(requests.nodes[0], 0u);
    EXPECT_EQ(requests.priorities[0], std::numeric_limits<float>::max());
}

TEST(LevelOfDetail, CloserNodesGetHigherPrioritiesAndAreRequestedFirst) {
    SyntheticCloud cloud(1, 100);
    // Low beside octant 0, looking across the whole cloud; no two children at the same distance.
    const Camera camera = cameraAt(cloud, {512, 512, 200}, 1500, -120, 10);
    LevelOfDetail lod;
    Requests requests;
    lod.select(cloud.nodes, lodViewOf(camera, nullptr), 0, 1000000, 1, nothingLoaded, requests.sink());
    ASSERT_EQ(requests.nodes.size(), 9u);
    EXPECT_EQ(lod.counters().culled, 0u);
    EXPECT_EQ(lod.counters().missing, 9u);
    std::vector<std::uint32_t> byDistance{1, 2, 3, 4, 5, 6, 7, 8};
    std::stable_sort(byDistance.begin(), byDistance.end(), [&](std::uint32_t a, std::uint32_t b) {
        return expectedPriority(cloud, camera, a) > expectedPriority(cloud, camera, b);
    });
    EXPECT_EQ(std::vector<std::uint32_t>(requests.nodes.begin() + 1, requests.nodes.end()), byDistance);
    EXPECT_EQ(byDistance.front(), 1u);  // octant 0, nearest to the eye
    for (std::size_t i = 1; i < requests.nodes.size(); ++i)
        EXPECT_NEAR(requests.priorities[i], expectedPriority(cloud, camera, requests.nodes[i]),
                    1e-4 * requests.priorities[i]);
}

TEST(LevelOfDetail, TheCameraInsideANodesSphereGivesItTheTopPriority) {
    SyntheticCloud cloud(1, 100);
    // The eye near the centre of octant 6 (x low, y high, z high), inside no other child's sphere.
    const Camera camera = cameraAt(cloud, {256, 768, 768}, 40, 135, 35);
    const Vec3d eye = camera.eyePosition();
    ASSERT_LT(eye.x, 512);
    ASSERT_GT(eye.y, 512);
    ASSERT_GT(eye.z, 512);
    LevelOfDetail lod;
    Requests requests;
    lod.select(cloud.nodes, lodViewOf(camera, nullptr), 0, 1000000, 1, nothingLoaded, requests.sink());
    ASSERT_GE(requests.nodes.size(), 2u);
    EXPECT_EQ(requests.nodes[1], 7u);  // octant 6
    EXPECT_EQ(requests.priorities[1], float(LevelOfDetail::kInsidePriority));
    for (std::size_t i = 2; i < requests.priorities.size(); ++i) EXPECT_LT(requests.priorities[i], 1e9f);

    EXPECT_EQ(LevelOfDetail::childPriority({0, 0, 0}, {3, 0, 0}, 3.0, 500.0), 1e9);
    EXPECT_DOUBLE_EQ(LevelOfDetail::childPriority({0, 0, 0}, {4, 0, 0}, 1.0, 500.0), 250.0);
}

TEST(LevelOfDetail, ChildrenBelowTheThresholdAreNotVisited) {
    SyntheticCloud cloud(1, 100);
    const Camera camera = cameraAt(cloud, {512, 512, 200}, 1500, -120, 10);
    std::vector<double> priorities;
    for (std::uint32_t i = 1; i <= 8; ++i) priorities.push_back(expectedPriority(cloud, camera, i));
    std::sort(priorities.begin(), priorities.end());
    // Between the third and the fourth smallest: five children pass.
    const auto threshold = std::uint32_t(std::ceil((priorities[2] + priorities[3]) / 2));
    ASSERT_GT(double(threshold), priorities[2]);
    ASSERT_LT(double(threshold), priorities[3]);
    LevelOfDetail lod;
    Requests requests;
    lod.select(cloud.nodes, lodViewOf(camera, nullptr), threshold, 1000000, 1, nothingLoaded, requests.sink());
    EXPECT_EQ(lod.counters().visited, 6u);
    EXPECT_EQ(lod.chosen().size(), 6u);
    EXPECT_EQ(requests.nodes.size(), 6u);

    // A threshold above every child leaves the root alone.
    lod.select(cloud.nodes, lodViewOf(camera, nullptr), 2000, 1000000, 2, nothingLoaded, Requests().sink());
    EXPECT_EQ(lod.counters().visited, 1u);
    EXPECT_EQ(lod.chosen(), std::vector<std::uint32_t>{0});
}

TEST(LevelOfDetail, NodesOutsideTheFrustumAreCulled) {
    SyntheticCloud cloud(1, 100);
    // Straight down onto the middle of octants 0 and 4 with a 5-degree lens: the other six
    // children stay outside even at the bottom of the cloud.
    const Camera narrow = cameraAt(cloud, {256, 256, 1024}, 200, -90, 90, 5.0);
    LevelOfDetail lod;
    Requests requests;
    lod.select(cloud.nodes, lodViewOf(narrow, nullptr), 0, 1000000, 1, nothingLoaded, requests.sink());
    EXPECT_EQ(lod.counters().visited, 9u);
    EXPECT_EQ(lod.counters().culled, 6u);
    std::vector<std::uint32_t> chosen = lod.chosen();
    std::sort(chosen.begin(), chosen.end());
    EXPECT_EQ(chosen, (std::vector<std::uint32_t>{0, 1, 5}));
    EXPECT_EQ(requests.nodes.size(), 3u);

    // Looking away from the cloud: even the root is culled and nothing is asked for.
    const Camera away = cameraAt(cloud, {512, 512, 3000}, 100, 0, -60);
    lod.select(cloud.nodes, lodViewOf(away, nullptr), 0, 1000000, 2, nothingLoaded, requests.sink());
    EXPECT_EQ(lod.counters().visited, 1u);
    EXPECT_EQ(lod.counters().culled, 1u);
    EXPECT_TRUE(lod.chosen().empty());
    EXPECT_EQ(requests.nodes.size(), 3u);
}

TEST(LevelOfDetail, NodesWhollyOutsideTheClipBoxAreCut) {
    SyntheticCloud cloud(1, 100);
    // World [10, 400] on every axis, in render space (the reference is the cloud's centre).
    const double lo = 10 - 512.0, hi = 400 - 512.0;
    FrustumPlanes clip{Plane{1, 0, 0, -lo}, Plane{-1, 0, 0, hi}, Plane{0, 1, 0, -lo},
                       Plane{0, -1, 0, hi}, Plane{0, 0, 1, -lo}, Plane{0, 0, -1, hi}};
    LevelOfDetail lod;
    Requests requests;
    LodView view = lodViewOf(cameraOnWholeCloud(cloud), nullptr);
    view.clip = clip;
    lod.select(cloud.nodes, view, 0, 1000000, 1, nothingLoaded, requests.sink());
    EXPECT_EQ(lod.counters().culled, 0u);
    EXPECT_EQ(lod.counters().cut, 7u);
    EXPECT_EQ(lod.chosen(), (std::vector<std::uint32_t>{0, 1}));
    EXPECT_EQ(requests.nodes, (std::vector<std::uint32_t>{0, 1}));
}

TEST(LevelOfDetail, AsksForEachMissingNodeOnceAndWalksOnBelowIt) {
    SyntheticCloud cloud(3, 10);  // 585 nodes
    LevelOfDetail lod;
    Requests requests;
    const auto evenLoaded = [](std::uint32_t node) { return node % 2 == 0; };
    lod.select(cloud.nodes, lodViewOf(cameraOnWholeCloud(cloud), nullptr), 0, 100000000, 1, evenLoaded,
               requests.sink());
    EXPECT_EQ(lod.chosen().size(), 585u);
    const std::set<std::uint32_t> unique(requests.nodes.begin(), requests.nodes.end());
    EXPECT_EQ(unique.size(), requests.nodes.size());
    EXPECT_EQ(lod.counters().missing, requests.nodes.size());
    for (std::uint32_t node : requests.nodes) EXPECT_EQ(node % 2, 1u);
    EXPECT_EQ(requests.nodes.size(), 292u);  // the odd indices of 585 nodes
    // Parents before their children.
    std::vector<int> position(585, -1);
    for (std::size_t i = 0; i < lod.chosen().size(); ++i) position[lod.chosen()[i]] = int(i);
    for (std::uint32_t node = 1; node < 585; ++node)
        EXPECT_LT(position[cloud.nodes[node].parent], position[node]);
}

TEST(LevelOfDetail, StopsWhenThePointBudgetIsSpentAndRecordsLastUseAndTheDeepestChosenLevel) {
    SyntheticCloud cloud(2, 1000);
    LevelOfDetail lod;
    const LodView view = lodViewOf(cameraOnWholeCloud(cloud), nullptr);
    // A budget that holds everything exactly is not reached.
    lod.select(cloud.nodes, view, 0, 73000, 7, everythingLoaded, Requests().sink());
    ASSERT_EQ(lod.chosen().size(), 73u);
    EXPECT_FALSE(lod.counters().budgetReached);
    EXPECT_EQ(lod.counters().visited, 73u);
    for (std::uint32_t node = 0; node < 73; ++node) EXPECT_EQ(lod.lastUse()[node], 7u);
    EXPECT_EQ(lod.deepestChosenLevel(0), 2u);
    EXPECT_EQ(lod.deepestChosenLevel(1), 2u);
    EXPECT_EQ(lod.deepestChosenLevel(72), 2u);

    // Root and four children, the next would overrun: the root's deepest level is 1, the rest
    // keep their frame.
    lod.select(cloud.nodes, view, 0, 5500, 8, everythingLoaded, Requests().sink());
    ASSERT_EQ(lod.chosen().size(), 5u);
    EXPECT_EQ(lod.counters().chosenPoints, 5000u);
    EXPECT_TRUE(lod.counters().budgetReached);
    EXPECT_EQ(lod.chosen()[0], 0u);
    EXPECT_EQ(lod.deepestChosenLevel(0), 1u);
    int inFrame8 = 0;
    for (std::uint32_t node = 0; node < 73; ++node) {
        EXPECT_TRUE(lod.lastUse()[node] == 7u || lod.lastUse()[node] == 8u);
        inFrame8 += lod.lastUse()[node] == 8u;
    }
    EXPECT_EQ(inFrame8, 5);
    for (std::uint32_t node : lod.chosen()) {
        EXPECT_EQ(lod.lastUse()[node], 8u);
        if (node != 0) {
            EXPECT_EQ(lod.deepestChosenLevel(node), 1u);
        }
    }

    lod.reset(73);
    EXPECT_EQ(lod.lastUse()[0], 0u);
}

TEST(LevelOfDetail, DeletedPointsCostNoBudgetAndDeletedSubtreesAreSkipped) {
    SyntheticCloud cloud(2, 1000);
    std::vector<std::uint32_t> deletedInNode(cloud.nodes.size(), 0);
    std::vector<std::uint64_t> surviving(cloud.nodes.size(), 1000);
    // The root's own points are all deleted; the first child's subtree is deleted whole.
    deletedInNode[0] = 1000;
    const std::uint32_t gone = cloud.nodes[0].children[0];
    deletedInNode[gone] = 1000;
    surviving[gone] = 0;
    for (std::uint32_t grandchild : cloud.nodes[gone].children)
        if (grandchild != kNoChild) deletedInNode[grandchild] = 1000, surviving[grandchild] = 0;
    LevelOfDetail lod;
    lod.setEditCounts({deletedInNode, surviving});
    lod.select(cloud.nodes, lodViewOf(cameraOnWholeCloud(cloud), nullptr), 0, 5500, 1, everythingLoaded,
               Requests().sink());
    // The emptied root is still walked for its children, and the budget buys five live nodes.
    ASSERT_EQ(lod.chosen().size(), 6u);
    EXPECT_EQ(lod.chosen()[0], 0u);
    EXPECT_EQ(lod.counters().chosenPoints, 5000u);
    EXPECT_EQ(std::count(lod.chosen().begin(), lod.chosen().end(), gone), 0);
    EXPECT_EQ(lod.counters().emptied, 1u);
}

}  // namespace
}  // namespace ovcf
