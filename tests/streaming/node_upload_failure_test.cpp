// A GPU that runs out of memory: a refused node buffer is noticed, older nodes make room and the
// upload is tried again, and a node whose buffer could not be filled is never drawn.
#include <gtest/gtest.h>

#include <glad/gl.h>

#include <chrono>
#include <thread>

#include "FakeBufferStore.h"
#include "ParentWindow.h"
#include "StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudStreaming.h"
#include "navigation/CameraLod.h"
#include "platform/ViewWindow.h"
#include "view/GlNodeBufferStore.h"

namespace ovcf {
namespace {

using test::FakeBufferStore;
using test::FakeDevice;
using test::readyNode;

constexpr std::uint64_t kNodeBytes = 100 * sizeof(PointVertex);

TEST(UploadFailure, ARefusedBufferEvictsTheLeastRecentlyUsedAndIsTriedAgain) {
    FakeDevice device;
    device.capacity = 3 * kNodeBytes;
    NodeResidency residency(std::make_unique<FakeBufferStore>(device));
    residency.reset(6);
    const std::vector<std::uint64_t> lastUse = {5, 3, 4, 0, 0, 0};
    std::vector<ReadyNode> first = {readyNode(0, 100), readyNode(1, 100), readyNode(2, 100)};
    ASSERT_EQ(residency.upload(first, lastUse), 3u);

    std::vector<ReadyNode> more = {readyNode(3, 100), readyNode(4, 100)};
    EXPECT_EQ(residency.upload(more, lastUse), 2u);
    EXPECT_EQ(device.refusals, 2);
    // Node 1 (used in frame 3) went first, then node 2 (frame 4); node 3, uploaded in the same
    // call, was not taken to make room for node 4.
    for (const auto& [index, resident] : std::vector<std::pair<std::uint32_t, bool>>{
             {0, true}, {1, false}, {2, false}, {3, true}, {4, true}})
        EXPECT_EQ(residency.isResident(index), resident) << "node " << index;
    EXPECT_EQ(residency.totalBytes(), device.used);
    EXPECT_EQ(residency.failedUploads(), 2u);
    EXPECT_EQ(residency.deviceLimitBytes(), 3 * kNodeBytes);
    EXPECT_EQ(residency.evictionCount(), 2u);

    // The budget allows more than the device holds: eviction keeps to what the device showed.
    std::vector<ReadyNode> last = {readyNode(5, 100)};
    EXPECT_EQ(residency.upload(last, lastUse), 1u);
    EXPECT_LE(residency.totalBytes(), 3 * kNodeBytes);
    EXPECT_EQ(residency.evict(100 * kNodeBytes, 9, lastUse), 0u);
}

TEST(UploadFailure, ANodeTheDeviceNeverTakesStaysNotResidentWithItsVertices) {
    FakeDevice device;
    device.capacity = kNodeBytes;
    NodeResidency residency(std::make_unique<FakeBufferStore>(device));
    residency.reset(2);
    std::vector<ReadyNode> first = {readyNode(0, 100)};
    ASSERT_EQ(residency.upload(first, {}), 1u);
    std::vector<ReadyNode> ready = {readyNode(1, 200)};
    EXPECT_EQ(residency.upload(ready, {}), 0u);
    // Node 0, the only other, was evicted for it, to no avail.
    EXPECT_FALSE(residency.isResident(0));
    EXPECT_FALSE(residency.isResident(1));
    EXPECT_EQ(residency.entry(1).buffer, 0u);
    EXPECT_EQ(ready[0].vertices.size(), 200u);
    EXPECT_EQ(residency.totalBytes(), 0u);
    EXPECT_EQ(device.used, 0u);
}

// The GL store, with storage that fails as a driver out of memory would.
void noStorage(std::uint32_t, std::size_t, const void*) {}
void refusedStorage(std::uint32_t buffer, std::size_t bytes, const void* data) {
    // Storage flags the GL does not know: the call fails with an error and gives no storage.
    glNamedBufferStorage(buffer, static_cast<GLsizeiptr>(bytes), data, 0x7FFFFFFF);
}

TEST(UploadFailure, TheGlStoreNoticesAnUnfilledBufferAndNothingIsDrawn) {
    auto parent = harness::ParentWindow::create(160, 120);
    ASSERT_TRUE(parent) << "no display";
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    ASSERT_TRUE(window->makeCurrent());
    const std::vector<PointVertex> vertices(50);
    for (NodeBufferStorage storage : {&noStorage, &refusedStorage}) {
        auto store = makeGlNodeBufferStore(storage);
        EXPECT_EQ(store->create(vertices.data(), vertices.size() * sizeof(PointVertex)), 0u);
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    }
    auto real = makeGlNodeBufferStore();
    const std::uint32_t buffer = real->create(vertices.data(), vertices.size() * sizeof(PointVertex));
    EXPECT_NE(buffer, 0u);
    real->destroy(buffer);

    test::TempDir dir("orvane_upload_failure");
    const test::KnownCloud cloud = test::fullTree(1, 300);
    const std::string path = dir.file("cloud.ovcf");
    test::writeCloud(path, cloud);
    CloudStreaming streaming(makeGlNodeBufferStore(&noStorage));
    ASSERT_TRUE(streaming.open(path, 2, error)) << error;
    Camera camera;
    camera.setViewport(160, 120);
    camera.renderOrigin = streaming.referencePoint();
    camera.fitBox(streaming.boundsMin(), streaming.boundsMax());
    RenderSettings settings;
    for (std::uint64_t frame = 1; frame <= 200; ++frame) {
        const StreamingFrame& f = streaming.update(lodViewOf(camera, nullptr), settings, frame);
        EXPECT_TRUE(f.drawables.empty());
        EXPECT_EQ(f.loaded, 0u);
        EXPECT_TRUE(f.moreFramesWanted);  // the nodes are asked for again
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_GT(streaming.residency().failedUploads(), 0u);
    EXPECT_EQ(streaming.residency().residentCount(), 0u);
}

}  // namespace
}  // namespace ovcf
