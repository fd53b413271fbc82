#include <fstream>
#include <iterator>

#include "../view/PngInspect.h"
#include "RenderTestSupport.h"
#include "TestSupport.h"
#include "view/PngWriter.h"

namespace ovcf::test {
namespace {

class ScreenshotTest : public RenderTest {
protected:
    void SetUp() override {
        RenderTest::SetUp();
        if (HasFatalFailure()) return;
        settings.backgroundGradient = true;
        settings.cubeVisible = true;
        cube.setViewport(kWidth, kHeight);
        addNode({pointAt(5, 7, kEyeDistance, {255, 0, 0}, 0), pointAt(60, 40, kEyeDistance, {0, 0, 255}, 1)});
    }

    FrameScene frameWithCube() {
        FrameScene frame = scene();
        frame.cube = &cube;
        return frame;
    }

    NavigationCube cube{settings};
};

TEST_F(ScreenshotTest, BeforeTheFirstFrameThereIsNothingToRead) {
    std::vector<std::uint8_t> rgb;
    int width = 0, height = 0;
    std::string error;
    EXPECT_FALSE(renderer.readLastFrame(rgb, width, height, error));
    EXPECT_EQ(error, "no frame has been drawn yet");
}

TEST_F(ScreenshotTest, TheLastFrameIsWhatTheWindowsBackBufferReceived) {
    const Picture picture = draw(frameWithCube());
    // Overlays are part of the picture: the cube fills the top-right corner.
    EXPECT_NE(picture.at(kWidth - 20, 20), picture.at(kWidth - 20, kHeight - 1));

    std::vector<std::uint8_t> back(picture.rgb.size());
    glBindFramebuffer(GL_READ_FRAMEBUFFER, 0);
    glReadBuffer(GL_BACK);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, kWidth, kHeight, GL_RGB, GL_UNSIGNED_BYTE, back.data());
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));
    EXPECT_TRUE(back == picture.rgb);
}

TEST_F(ScreenshotTest, ReadingDrawsNothingNewAndKeepsTheSizeOfTheLastFrame) {
    const Picture first = draw();
    // The settings change but no frame is drawn: the picture is still the old one.
    settings.backgroundBottom = {1.0f, 1.0f, 1.0f};
    camera.setViewport(40, 30);
    Picture again;
    std::string error;
    ASSERT_TRUE(renderer.readLastFrame(again.rgb, again.width, again.height, error)) << error;
    EXPECT_EQ(again.width, kWidth);
    EXPECT_EQ(again.height, kHeight);
    EXPECT_TRUE(again.rgb == first.rgb);

    FrameScene smaller = scene();
    const Picture resized = draw(smaller);
    EXPECT_EQ(resized.width, 40);
    EXPECT_EQ(resized.height, 30);
}

TEST_F(ScreenshotTest, ThePngHoldsThePictureWithTheTopRowFirst) {
    const Picture picture = draw(frameWithCube());
    ASSERT_EQ(picture.at(5, 7), (Rgb{255, 0, 0}));
    ASSERT_EQ(picture.at(60, 40), (Rgb{0, 0, 255}));
    TempDir dir("orvane_render");
    const std::string path = dir.file("schermata.png");
    std::string error;
    ASSERT_TRUE(writePng(path, picture.width, picture.height, picture.rgb.data(), true, error)) << error;

    std::ifstream in(path, std::ios::binary);
    const std::vector<std::uint8_t> file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    const InspectedPng png = inspectPng(file);
    ASSERT_TRUE(png.problem.empty()) << png.problem;
    ASSERT_EQ(png.width, static_cast<std::uint32_t>(kWidth));
    ASSERT_EQ(png.height, static_cast<std::uint32_t>(kHeight));
    const std::size_t stride = kWidth * 3 + 1;
    ASSERT_EQ(png.raw.size(), stride * kHeight);
    for (int y = 0; y < kHeight; ++y) {
        ASSERT_EQ(png.raw[y * stride], 0) << "filter byte of row " << y;
        for (int x = 0; x < kWidth; ++x) {
            const std::uint8_t* p = &png.raw[y * stride + 1 + x * 3];
            ASSERT_EQ((Rgb{p[0], p[1], p[2]}), picture.at(x, y)) << x << ", " << y;
        }
    }
}

}  // namespace
}  // namespace ovcf::test
