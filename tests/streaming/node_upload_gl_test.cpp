// The one streaming test that needs a GL context: node vertices really reach GL buffers, byte
// for byte, and closing the cloud deletes them.
#include <gtest/gtest.h>

#include <glad/gl.h>

#include <cstring>

#include "ParentWindow.h"
#include "StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudStreaming.h"
#include "cloud/NodeDecoding.h"
#include "navigation/CameraLod.h"
#include "ovcf/OvcfReader.h"
#include "platform/ViewWindow.h"
#include "view/GlNodeBufferStore.h"

namespace ovcf {
namespace {

TEST(NodeUpload, VerticesReachTheirGlBuffersAndCloseDeletesThem) {
    auto parent = harness::ParentWindow::create(320, 240);
    ASSERT_TRUE(parent) << "no display to create a parent window on";
    std::string error;
    auto window = ViewWindow::create(parent->handle(), error);
    ASSERT_TRUE(window) << error;
    ASSERT_TRUE(window->makeCurrent());

    test::TempDir dir("orvane_upload");
    const test::KnownCloud cloud = test::fullTree(1, 700, 1, true);
    const std::string path = dir.file("cloud.ovcf");
    test::writeCloud(path, cloud);

    std::vector<GLuint> buffers;
    {
        CloudStreaming streaming(makeGlNodeBufferStore());
        ASSERT_TRUE(streaming.open(path, 2, error)) << error;
        Camera camera;
        camera.setViewport(320, 240);
        camera.renderOrigin = streaming.referencePoint();
        camera.fitBox(streaming.boundsMin(), streaming.boundsMax());
        RenderSettings settings;
        std::uint64_t frame = 0;
        const auto complete = [&] { return !streaming.update(lodViewOf(camera, nullptr), settings, ++frame).moreFramesWanted; };
        ASSERT_TRUE(test::eventually(complete));
        const StreamingFrame& done = streaming.lastFrame();
        ASSERT_EQ(done.drawables.size(), 9u);
        EXPECT_EQ(streaming.residency().totalBytes(), cloud.pointCount() * sizeof(PointVertex));

        OvcfReader reader;
        ASSERT_TRUE(reader.open(path, error)) << error;
        const std::vector<std::uint32_t>& chosen = streaming.levelOfDetail().chosen();
        ASSERT_EQ(chosen.size(), 9u);
        for (std::size_t k = 0; k < chosen.size(); ++k) {
            const std::uint32_t node = chosen[k];
            const DrawableNode& drawable = done.drawables[k];
            ASSERT_TRUE(glIsBuffer(drawable.buffer));
            buffers.push_back(drawable.buffer);
            GLint64 size = 0;
            glGetNamedBufferParameteri64v(drawable.buffer, GL_BUFFER_SIZE, &size);
            ASSERT_EQ(std::size_t(size), cloud.nodes[node].points.size() * sizeof(PointVertex));

            std::vector<PointRecord> points;
            ASSERT_TRUE(reader.readNode(node, points, error)) << error;
            std::vector<PointVertex> expected;
            decodeNodeVertices(reader.header(), reader.nodes()[node], streaming.referencePoint(), points, expected);
            std::vector<PointVertex> stored(expected.size());
            glGetNamedBufferSubData(drawable.buffer, 0, GLsizeiptr(size), stored.data());
            EXPECT_EQ(std::memcmp(stored.data(), expected.data(), std::size_t(size)), 0) << "node " << node;
            EXPECT_EQ(stored.front().r, cloud.nodes[node].points.front().red);
        }
        EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));

        streaming.close();
        for (GLuint buffer : buffers) EXPECT_FALSE(glIsBuffer(buffer)) << buffer;

        // Reopened and left to the destructor, which deletes the buffers as well.
        ASSERT_TRUE(streaming.open(path, 1, error)) << error;
        buffers.clear();
        ASSERT_TRUE(test::eventually(complete));
        for (const DrawableNode& drawable : streaming.lastFrame().drawables) buffers.push_back(drawable.buffer);
        ASSERT_EQ(buffers.size(), 9u);
    }
    for (GLuint buffer : buffers) EXPECT_FALSE(glIsBuffer(buffer)) << buffer;
    EXPECT_EQ(glGetError(), GLenum(GL_NO_ERROR));
    window->destroy();
}

}  // namespace
}  // namespace ovcf
