#include <gtest/gtest.h>

#include <cmath>
#include <future>
#include <map>

#include "StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudNodes.h"
#include "cloud/NodeLoader.h"
#include "ovcf/OvcfReader.h"

namespace ovcf {
namespace {

using test::KnownCloud;

struct LoaderFixture : ::testing::Test {
    test::TempDir dir{"orvane_loader"};
    KnownCloud cloud = test::fullTree(2, 300);  // 73 nodes
    std::string path = dir.file("cloud.ovcf");
    FileHeader header;
    Vec3d reference;
    std::string error;

    void SetUp() override {
        test::writeCloud(path, cloud);
        OvcfReader reader;
        ASSERT_TRUE(reader.open(path, error)) << error;
        header = reader.header();
        reference = cloudReferencePoint(header);
    }

    // Takes ready nodes until `count` have arrived in all.
    std::vector<ReadyNode> collect(NodeLoader& loader, std::size_t count) {
        std::vector<ReadyNode> arrived;
        test::eventually([&] {
            for (ReadyNode& node : loader.takeReady()) arrived.push_back(std::move(node));
            return arrived.size() >= count;
        });
        return arrived;
    }

    // The world coordinates come back from origin + relative position up to the rounding of the
    // relative position alone, which shows that it was taken against the float origin.
    void expectNode(const ReadyNode& node) {
        ASSERT_LT(node.nodeIndex, cloud.nodes.size());
        const test::KnownNode& known = cloud.nodes[node.nodeIndex];
        ASSERT_EQ(node.pointCount, known.points.size());
        ASSERT_EQ(node.vertices.size(), known.points.size());
        EXPECT_EQ(node.level, known.key.level);
        EXPECT_EQ(node.firstPoint, cloud.firstPoint(node.nodeIndex));
        const auto q = nodeOrigin(header, known.key);
        const double step = cloud.params.step[0];
        for (int a = 0; a < 3; ++a) {
            const double ref = a == 0 ? reference.x : a == 1 ? reference.y : reference.z;
            EXPECT_EQ(node.origin[a], float(cloud.params.offset[a] + step * q[a] - ref));
        }
        const double side = step * double(nodeCubeSide(header.rootExponent, known.key.level));
        EXPECT_FLOAT_EQ(node.spacing, float(side / std::sqrt(double(known.points.size()))));
        for (std::size_t j = 0; j < known.points.size(); ++j) {
            const PointRecord& p = known.points[j];
            const PointVertex& v = node.vertices[j];
            const std::uint32_t qp[3] = {p.x, p.y, p.z};
            const float rel[3] = {v.x, v.y, v.z};
            const double refs[3] = {reference.x, reference.y, reference.z};
            for (int a = 0; a < 3; ++a) {
                const double world = cloud.params.offset[a] + step * qp[a];
                const double rebuilt = refs[a] + double(node.origin[a]) + double(rel[a]);
                ASSERT_NEAR(rebuilt, world, std::fabs(rel[a]) * 0x1p-24 + 2e-9) << "node " << node.nodeIndex << " point " << j;
                ASSERT_GE(rel[a], -1e-4);
                ASSERT_LE(rel[a], side + 1e-4);
            }
            ASSERT_EQ(v.r, p.red);
            ASSERT_EQ(v.g, p.green);
            ASSERT_EQ(v.b, p.blue);
            ASSERT_EQ(v.intensity, p.intensity);
            ASSERT_EQ(v.classification, p.classification);
            ASSERT_EQ(v.index, cloud.firstPoint(node.nodeIndex) + j);
        }
    }
};

TEST_F(LoaderFixture, ClampsTheThreadCountAndSaysSo) {
    test::LogCapture log;
    const std::pair<int, int> cases[] = {{0, 1}, {-3, 1}, {1, 1}, {5, 5}, {16, 16}, {40, 16}};
    for (const auto& [requested, expected] : cases) {
        const std::string line = "caricamento nodi: " + std::to_string(expected) + " thread di lettura su '" + path + "'";
        const int before = log.count(LogInfo, line);
        NodeLoader loader;
            ASSERT_TRUE(loader.start(path, requested, reference, error)) << error;
        EXPECT_TRUE(loader.isRunning());
        EXPECT_EQ(loader.threadCount(), expected) << requested;
        EXPECT_EQ(log.count(LogInfo, line), before + 1) << requested;
        loader.stop();
        EXPECT_FALSE(loader.isRunning());
        EXPECT_EQ(loader.threadCount(), 0);
    }
}

TEST_F(LoaderFixture, AFileThatDoesNotOpenStartsNothing) {
    NodeLoader loader;
    const std::string missing = dir.file("missing.ovcf");
    EXPECT_FALSE(loader.start(missing, 3, reference, error));
    EXPECT_EQ(error.rfind("cannot open '" + missing + "': ", 0), 0u) << error;
    EXPECT_FALSE(loader.isRunning());
    EXPECT_EQ(loader.threadCount(), 0);

    std::vector<std::uint8_t> bytes = test::fileBytes(path);
    bytes[0] = 'X';
    test::writeFileBytes(path, bytes);
    EXPECT_FALSE(loader.start(path, 3, reference, error));
    EXPECT_EQ(error, "non e' un file .ovcf (firma iniziale errata)");
    EXPECT_FALSE(loader.isRunning());
    EXPECT_EQ(loader.threadCount(), 0);
    // Requests to a loader that never started are harmless and go nowhere.
    loader.request(0, 1.0f);
    loader.stop();
    EXPECT_TRUE(loader.takeReady().empty());
}

TEST_F(LoaderFixture, EveryRequestedNodeArrivesOnceWithItsPoints) {
    NodeLoader loader;
    ASSERT_TRUE(loader.start(path, 4, reference, error)) << error;
    // Requested again while queued, being read and ready: each node still comes once.
    for (int round = 0; round < 3; ++round)
        for (std::uint32_t i = 0; i < cloud.nodes.size(); ++i) loader.request(i, float(i % 7));
    std::vector<ReadyNode> arrived = collect(loader, cloud.nodes.size());
    for (std::uint32_t i = 0; i < cloud.nodes.size(); ++i) loader.request(i, 1.0f);
    ASSERT_EQ(arrived.size(), cloud.nodes.size());
    EXPECT_EQ(loader.queuedCount(), 0u);
    EXPECT_EQ(loader.inFlightCount(), cloud.nodes.size());  // ready, not yet forgotten
    EXPECT_EQ(loader.nodesRead(), cloud.nodes.size());
    EXPECT_EQ(loader.pointsRead(), cloud.pointCount());
    std::map<std::uint32_t, int> seen;
    for (const ReadyNode& node : arrived) {
        ++seen[node.nodeIndex];
        expectNode(node);
    }
    EXPECT_EQ(seen.size(), cloud.nodes.size());

    // Forgotten nodes may come again.
    loader.forget(5);
    loader.forget(60);
    loader.request(5, 1.0f);
    loader.request(60, 2.0f);
    std::vector<ReadyNode> again = collect(loader, 2);
    ASSERT_EQ(again.size(), 2u);
    EXPECT_EQ(again[0].nodeIndex + again[1].nodeIndex, 65u);
    for (const ReadyNode& node : again) expectNode(node);
    EXPECT_TRUE(loader.takeReady().empty());
}

TEST_F(LoaderFixture, ANodeQueuedOrBeingReadIsNotQueuedAgainAndTheHighestPriorityGoesFirst) {
    NodeLoader loader;
    test::ReadGate gate({0});
    loader.setReadHook([&](std::uint32_t node) { gate.enter(node); });
    ASSERT_TRUE(loader.start(path, 1, reference, error)) << error;
    loader.request(0, 10.0f);
    ASSERT_TRUE(gate.waitHeld(1));
    EXPECT_EQ(loader.queuedCount(), 0u);
    loader.request(0, 50.0f);  // being read
    EXPECT_EQ(loader.queuedCount(), 0u);
    loader.request(11, 1.0f);
    loader.request(12, 3.0f);
    loader.request(13, 2.0f);
    loader.request(14, 1e9f);
    loader.request(12, 100.0f);  // queued: neither added nor raised
    EXPECT_EQ(loader.queuedCount(), 4u);
    EXPECT_EQ(loader.inFlightCount(), 5u);
    gate.release();
    std::vector<ReadyNode> arrived = collect(loader, 5);
    ASSERT_EQ(arrived.size(), 5u);
    const std::vector<std::uint32_t> expected{0, 14, 12, 13, 11};
    EXPECT_EQ(gate.order(), expected);
    for (std::size_t i = 0; i < arrived.size(); ++i) EXPECT_EQ(arrived[i].nodeIndex, expected[i]);
}

TEST_F(LoaderFixture, DroppingQueuedRequestsLetsTheNodeBeingReadFinish) {
    NodeLoader loader;
    test::ReadGate gate({0});
    loader.setReadHook([&](std::uint32_t node) { gate.enter(node); });
    ASSERT_TRUE(loader.start(path, 1, reference, error)) << error;
    loader.request(0, 5.0f);
    ASSERT_TRUE(gate.waitHeld(1));
    for (std::uint32_t i = 1; i <= 20; ++i) loader.request(i, float(i));
    EXPECT_EQ(loader.queuedCount(), 20u);
    loader.dropQueued();
    EXPECT_EQ(loader.queuedCount(), 0u);
    EXPECT_EQ(loader.inFlightCount(), 1u);
    gate.release();
    std::vector<ReadyNode> arrived = collect(loader, 1);
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].nodeIndex, 0u);

    // The dropped nodes can be asked for again.
    for (std::uint32_t i = 1; i <= 20; ++i) loader.request(i, float(i));
    arrived = collect(loader, 20);
    EXPECT_EQ(arrived.size(), 20u);
    EXPECT_EQ(loader.nodesRead(), 21u);
}

TEST_F(LoaderFixture, AnUnreadableNodeIsLoggedAndCanBeRequestedAgain) {
    test::corruptBlock(path, 9);
    test::LogCapture log;
    NodeLoader loader;
    ASSERT_TRUE(loader.start(path, 2, reference, error)) << error;
    const std::string warning = "nodo 9 non leggibile: decompression of node 9 failed: corrupted data";
    for (std::uint32_t i = 8; i <= 10; ++i) loader.request(i, 1.0f);
    std::vector<std::uint32_t> failed;
    std::vector<ReadyNode> arrived;
    ASSERT_TRUE(test::eventually([&] {
        for (ReadyNode& node : loader.takeReady()) arrived.push_back(std::move(node));
        for (std::uint32_t f : loader.takeFailed()) failed.push_back(f);
        return arrived.size() == 2 && failed.size() == 1;
    }));
    EXPECT_EQ(failed[0], 9u);
    for (const ReadyNode& node : arrived) {
        EXPECT_NE(node.nodeIndex, 9u);
        expectNode(node);
    }
    EXPECT_EQ(log.count(LogWarn, warning), 1);
    EXPECT_EQ(loader.inFlightCount(), 2u);  // the failed one left the set

    loader.request(9, 1.0f);
    ASSERT_TRUE(test::eventually([&] { return log.count(LogWarn, warning) == 2; }));
    ASSERT_TRUE(test::eventually([&] { return loader.inFlightCount() == 2u; }));
    EXPECT_TRUE(loader.takeReady().empty());
}

TEST_F(LoaderFixture, StopReturnsAfterTheNodeBeingReadWithoutDrainingTheQueue) {
    NodeLoader loader;
    test::ReadGate gate({3});
    loader.setReadHook([&](std::uint32_t node) { gate.enter(node); });
    ASSERT_TRUE(loader.start(path, 1, reference, error)) << error;
    loader.request(3, 1e9f);
    ASSERT_TRUE(gate.waitHeld(1));
    for (std::uint32_t i = 10; i < cloud.nodes.size(); ++i) loader.request(i, 1.0f);
    auto stopped = std::async(std::launch::async, [&] { loader.stop(); });
    ASSERT_TRUE(test::eventually([&] { return !loader.isRunning(); }));
    gate.release();
    stopped.get();
    EXPECT_EQ(loader.threadCount(), 0);
    EXPECT_EQ(loader.nodesRead(), 1u);
    EXPECT_EQ(gate.order(), std::vector<std::uint32_t>{3});
    EXPECT_EQ(loader.queuedCount(), 0u);
    EXPECT_EQ(loader.inFlightCount(), 0u);
    EXPECT_TRUE(loader.takeReady().empty());
}

TEST_F(LoaderFixture, RestartingOnAnotherFileForgetsTheOldOne) {
    NodeLoader loader;
    ASSERT_TRUE(loader.start(path, 2, reference, error)) << error;
    loader.request(1, 1.0f);
    const KnownCloud other = test::fullTree(1, 50, 0, false);
    const std::string otherPath = dir.file("other.ovcf");
    test::writeCloud(otherPath, other);
    ASSERT_TRUE(loader.start(otherPath, 2, reference, error)) << error;
    EXPECT_EQ(loader.inFlightCount(), 0u);
    EXPECT_EQ(loader.path(), otherPath);
    loader.request(1, 1.0f);
    std::vector<ReadyNode> arrived = collect(loader, 1);
    ASSERT_EQ(arrived.size(), 1u);
    EXPECT_EQ(arrived[0].pointCount, other.nodes[1].points.size());
}

}  // namespace
}  // namespace ovcf
