#include <gtest/gtest.h>

#include <set>

#include "FakeBufferStore.h"
#include "StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudStreaming.h"
#include "navigation/CameraLod.h"

namespace ovcf {
namespace {

struct Streaming : ::testing::Test {
    test::TempDir dir{"orvane_streaming"};
    test::KnownCloud cloud = test::fullTree(2, 300);  // 73 nodes, 24.528 points
    std::string path = dir.file("cloud.ovcf");
    test::FakeDevice store;
    CloudStreaming streaming{std::make_unique<test::FakeBufferStore>(store)};
    RenderSettings settings;
    std::uint64_t frame = 0;
    std::string error;

    void SetUp() override { test::writeCloud(path, cloud); }

    Camera fittedCamera() const {
        Camera camera;
        camera.setViewport(800, 600);
        camera.renderOrigin = streaming.referencePoint();
        camera.fitBox(streaming.boundsMin(), streaming.boundsMax());
        return camera;
    }

    // Draws frames until no more are wanted; the number of frames it took, 0 on a time-out.
    int settle(const Camera& camera, const std::array<ClipPlane, 6>* clip = nullptr) {
        for (int frames = 1; frames < 30000; ++frames) {
            if (!streaming.update(lodViewOf(camera, clip), settings, ++frame).moreFramesWanted) return frames;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return 0;
    }
};

TEST_F(Streaming, OpensAndStreamsUntilThePictureIsComplete) {
    test::LogCapture log;
    ASSERT_TRUE(streaming.open(path, CloudStreaming::kOpenFileLoaderThreads, error)) << error;
    EXPECT_EQ(log.count(LogInfo, "caricamento nodi: 3 thread di lettura su '" + path + "'"), 1);
    EXPECT_TRUE(streaming.isOpen());
    EXPECT_EQ(streaming.loader().threadCount(), 3);
    EXPECT_EQ(streaming.pointCount(), 24528u);
    EXPECT_EQ(streaming.nodeCount(), 73u);
    EXPECT_EQ(streaming.levelCount(), 3u);
    EXPECT_EQ(streaming.deletedCount(), 0u);
    EXPECT_EQ(streaming.confirmed().map.size(), (24528u + 63) / 64);
    const Vec3d centre = (streaming.boundsMin() + streaming.boundsMax()) / 2.0;
    EXPECT_EQ(streaming.referencePoint(), centre);
    streaming.logOpened();
    EXPECT_EQ(log.count(LogInfo, "nuvola aperta: 24.528 punti in 73 nodi, 3 livelli"), 1);

    const Camera camera = fittedCamera();
    const StreamingFrame& first = streaming.update(lodViewOf(camera, nullptr), settings, ++frame);
    EXPECT_TRUE(first.moreFramesWanted);  // the root is on its way
    EXPECT_EQ(first.chosen, 73u);
    ASSERT_GT(settle(camera), 0);

    const StreamingFrame& done = streaming.lastFrame();
    EXPECT_FALSE(done.moreFramesWanted);
    EXPECT_EQ(done.chosen, 73u);
    EXPECT_EQ(done.loaded, 73u);
    EXPECT_EQ(done.uploaded, 0u);
    EXPECT_EQ(done.lod.missing, 0u);
    EXPECT_EQ(done.lod.culled, 0u);
    ASSERT_EQ(done.drawables.size(), 73u);
    EXPECT_EQ(store.live.size(), 73u);
    EXPECT_EQ(streaming.residency().totalBytes(), 24528u * sizeof(PointVertex));
    std::set<std::uint32_t> buffers;
    for (const DrawableNode& drawable : done.drawables) {
        ASSERT_EQ(store.live.count(drawable.buffer), 1u);
        buffers.insert(drawable.buffer);
        EXPECT_EQ(store.live.at(drawable.buffer), drawable.pointCount * sizeof(PointVertex));
    }
    EXPECT_EQ(buffers.size(), 73u);
    // The root leads, with its geometry.
    const NodeInfo& root = streaming.nodes()[0];
    EXPECT_EQ(done.drawables[0].pointCount, 300u);
    EXPECT_EQ(done.drawables[0].level, 0u);
    EXPECT_EQ(done.drawables[0].origin[0], root.origin[0]);
    // Drawn with its two levels of descendants, the root's points sit a quarter as far apart.
    EXPECT_EQ(streaming.levelOfDetail().deepestChosenLevel(0), 2u);
    EXPECT_FLOAT_EQ(done.drawables[0].spacing, root.spacing / 4.0f);
    EXPECT_EQ(streaming.loader().inFlightCount(), 0u);  // every node forgotten after its upload

    streaming.close();
    EXPECT_FALSE(streaming.isOpen());
    EXPECT_TRUE(store.live.empty());
    EXPECT_FALSE(streaming.loader().isRunning());
    EXPECT_EQ(streaming.pointCount(), 0u);
    EXPECT_TRUE(streaming.update(lodViewOf(camera, nullptr), settings, ++frame).drawables.empty());
}

TEST_F(Streaming, OpeningAMissingOrDamagedFileLeavesNothingOpen) {
    ASSERT_TRUE(streaming.open(path, 3, error)) << error;
    settle(fittedCamera());
    ASSERT_FALSE(store.live.empty());

    const std::string missing = dir.file("nowhere.ovcf");
    EXPECT_FALSE(streaming.open(missing, 3, error));
    EXPECT_EQ(error.rfind("cannot open '" + missing + "': ", 0), 0u) << error;
    EXPECT_FALSE(streaming.isOpen());
    EXPECT_FALSE(streaming.loader().isRunning());
    EXPECT_EQ(streaming.loader().threadCount(), 0);
    EXPECT_TRUE(store.live.empty());  // the cloud open before was closed
    EXPECT_EQ(streaming.nodeCount(), 0u);

    std::vector<std::uint8_t> bytes = test::fileBytes(path);
    test::writeLe(bytes, 20, 0, 4);  // no nodes
    const std::string damaged = dir.file("damaged.ovcf");
    test::writeFileBytes(damaged, bytes);
    EXPECT_FALSE(streaming.open(damaged, 3, error));
    EXPECT_EQ(error, "il file non contiene nodi");
    EXPECT_FALSE(streaming.isOpen());
    EXPECT_FALSE(streaming.loader().isRunning());

    // And a good file still opens afterwards.
    ASSERT_TRUE(streaming.open(path, 1, error)) << error;
    EXPECT_GT(settle(fittedCamera()), 0);
}

TEST_F(Streaming, ReadsTheConfirmedDeletionsOfTheFile) {
    // 9 nodes of 301 + i points: 2745 points, so the last byte of the map has 7 unused bits.
    const test::KnownCloud small = test::fullTree(1, 301);
    const std::string deletedPath = dir.file("deleted.ovcf");
    test::writeCloud(deletedPath, small);
    std::vector<std::uint8_t> bytes = test::fileBytes(deletedPath);
    const std::size_t map = std::size_t(test::readLe(bytes, 176, 8));
    ASSERT_EQ(test::readLe(bytes, 184, 8), 344u);
    bytes[map + 0] = 0x21;           // points 0 and 5
    bytes[map + 12] = 0x10;          // point 100
    bytes[map + 343] = 0xFF;         // point 2744 and seven bits beyond the last point
    test::writeLe(bytes, 192, 4, 8);  // deleted count
    test::writeFileBytes(deletedPath, bytes);

    test::LogCapture log;
    ASSERT_TRUE(streaming.open(deletedPath, 2, error)) << error;
    EXPECT_EQ(log.count(LogInfo, "cancellazioni gia' confermate nel file: 4 punti"), 1);
    EXPECT_EQ(streaming.deletedCount(), 4u);
    const std::vector<std::uint64_t>& words = streaming.confirmed().map;
    ASSERT_EQ(words.size(), 43u);
    EXPECT_EQ(words[0], 0x21u);
    EXPECT_EQ(words[1], std::uint64_t{1} << 36);
    EXPECT_EQ(words[42], std::uint64_t{1} << (2744 % 64));

    // A file without confirmed deletions says nothing about them.
    ASSERT_TRUE(streaming.open(path, 2, error)) << error;
    EXPECT_EQ(streaming.deletedCount(), 0u);
    for (std::uint64_t word : streaming.confirmed().map) EXPECT_EQ(word, 0u);
    int deletionLines = 0;
    for (const auto& line : log.lines()) deletionLines += line.text.rfind("cancellazioni", 0) == 0;
    EXPECT_EQ(deletionLines, 1);
}

TEST_F(Streaming, AnUnreadableNodeIsNotWaitedForButAskedForAgain) {
    test::corruptBlock(path, 4);
    test::LogCapture log;
    ASSERT_TRUE(streaming.open(path, 3, error)) << error;
    const Camera camera = fittedCamera();
    ASSERT_GT(settle(camera), 0);
    const StreamingFrame& done = streaming.lastFrame();
    EXPECT_EQ(done.chosen, 73u);
    EXPECT_EQ(done.loaded, 72u);
    EXPECT_EQ(done.drawables.size(), 72u);
    EXPECT_FALSE(streaming.residency().isResident(4));
    const std::string warning = "nodo 4 non leggibile: decompression of node 4 failed: corrupted data";
    const int warnings = log.count(LogWarn, warning);
    EXPECT_GE(warnings, 1);
    // Later frames ask for it again.
    ASSERT_TRUE(test::eventually([&] {
        streaming.update(lodViewOf(camera, nullptr), settings, ++frame);
        return log.count(LogWarn, warning) > warnings;
    }));
    EXPECT_FALSE(streaming.lastFrame().moreFramesWanted);
}

TEST_F(Streaming, KeepsTheGpuBudgetByEvictingWhatThisFrameDoesNotDraw) {
    ASSERT_TRUE(streaming.open(path, 3, error)) << error;
    settings.gpuBudgetBytes = 0;
    const Camera whole = fittedCamera();
    ASSERT_GT(settle(whole), 0);
    EXPECT_EQ(streaming.residency().residentCount(), 73u);  // all drawn: none may go

    // Straight down onto one corner with a narrow lens: few nodes are chosen, the rest go.
    Camera corner = whole;
    corner.fieldOfView = 5.0 * 3.14159265358979 / 180.0;
    corner.target = streaming.boundsMin() + Vec3d{5, 5, 65.536};
    corner.distance = 20;
    corner.pitch = 90;
    const StreamingFrame narrow = streaming.update(lodViewOf(corner, nullptr), settings, ++frame);
    EXPECT_LT(narrow.chosen, 73u);
    EXPECT_EQ(narrow.loaded, narrow.chosen);
    EXPECT_EQ(narrow.evicted, 73u - narrow.chosen);
    EXPECT_EQ(streaming.residency().residentCount(), narrow.chosen);
    EXPECT_EQ(store.live.size(), narrow.chosen);
    EXPECT_EQ(streaming.residency().evictionCount(), 73u - narrow.chosen);
    for (const DrawableNode& drawable : narrow.drawables) EXPECT_EQ(store.live.count(drawable.buffer), 1u);

    // Back to the whole cloud: the evicted nodes are read again.
    const StreamingFrame back = streaming.update(lodViewOf(whole, nullptr), settings, ++frame);
    EXPECT_TRUE(back.moreFramesWanted);
    EXPECT_EQ(back.lod.missing, 73u - narrow.chosen);
    ASSERT_GT(settle(whole), 0);
    EXPECT_EQ(streaming.lastFrame().loaded, 73u);

    // With a budget that holds everything nothing is evicted.
    settings.gpuBudgetBytes = 2048ull << 20;
    EXPECT_EQ(streaming.update(lodViewOf(corner, nullptr), settings, ++frame).evicted, 0u);
    EXPECT_EQ(streaming.residency().residentCount(), 73u);
}

TEST_F(Streaming, TheClipBoxCutsNodesOutOfTheFrame) {
    ASSERT_TRUE(streaming.open(path, 3, error)) << error;
    // x, y, z within 1..15 m of the cloud's minimum: inside one grandchild (16.384 m).
    const Vec3d lo = streaming.boundsMin() - streaming.referencePoint() + Vec3d{1, 1, 1};
    const Vec3d hi = lo + Vec3d{14, 14, 14};
    std::array<ClipPlane, 6> clip{};
    const double bounds[6] = {-lo.x, hi.x, -lo.y, hi.y, -lo.z, hi.z};
    for (int i = 0; i < 6; ++i) {
        clip[i].normal[i / 2] = i % 2 == 0 ? 1.0f : -1.0f;
        clip[i].offset = float(bounds[i]);
    }
    ASSERT_GT(settle(fittedCamera(), &clip), 0);
    const StreamingFrame& done = streaming.lastFrame();
    EXPECT_EQ(done.lod.cut, 7u + 7u);  // seven children, and seven of the eight grandchildren below
    EXPECT_EQ(done.chosen, 3u);
    EXPECT_EQ(streaming.residency().residentCount(), 3u);
}

TEST_F(Streaming, ClosingAndDestroyingWithThreadsAtWork) {
    const test::KnownCloud big = test::fullTree(3, 2000, 2, true);  // 585 nodes
    const std::string bigPath = dir.file("big.ovcf");
    test::writeCloud(bigPath, big);
    ASSERT_TRUE(streaming.open(bigPath, 16, error)) << error;
    const Camera camera = fittedCamera();
    streaming.update(lodViewOf(camera, nullptr), settings, ++frame);
    EXPECT_GT(streaming.loader().inFlightCount(), 100u);
    streaming.close();
    EXPECT_FALSE(streaming.loader().isRunning());
    EXPECT_EQ(streaming.loader().inFlightCount(), 0u);
    EXPECT_TRUE(store.live.empty());

    test::FakeDevice otherStore;
    {
        CloudStreaming other(std::make_unique<test::FakeBufferStore>(otherStore));
        ASSERT_TRUE(other.open(bigPath, 3, error)) << error;
        for (int i = 0; i < 3; ++i) {
            other.update(lodViewOf(camera, nullptr), settings, ++frame);
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    EXPECT_TRUE(otherStore.live.empty());
}

}  // namespace
}  // namespace ovcf
