#include "RenderTestSupport.h"

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

}  // namespace
}  // namespace ovcf::test
