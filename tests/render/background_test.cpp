#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

class BackgroundTest : public RenderTest {
protected:
    // The gradient at the centre of window row y: v runs from 0 at the bottom edge to 1 at the top.
    Rgb gradientAt(int y) const {
        const double v = (kHeight - y - 0.5) / kHeight;
        const ColorRgbF& top = settings.backgroundTop;
        const ColorRgbF& bottom = settings.backgroundBottom;
        return toBytes(bottom.r + (top.r - bottom.r) * v, bottom.g + (top.g - bottom.g) * v,
                       bottom.b + (top.b - bottom.b) * v);
    }
};

TEST_F(BackgroundTest, GradientMixesTheBottomColourIntoTheTopOne) {
    settings.backgroundGradient = true;
    settings.backgroundTop = {0.90f, 0.50f, 0.10f};
    settings.backgroundBottom = {0.10f, 0.20f, 0.70f};
    const Picture picture = draw();
    ASSERT_EQ(picture.width, kWidth);
    ASSERT_EQ(picture.height, kHeight);
    for (int y : {0, 1, kHeight / 2, kHeight - 2, kHeight - 1})
        for (int x : {0, kWidth / 2, kWidth - 1})
            EXPECT_TRUE(colorNear(picture.at(x, y), gradientAt(y))) << "pixel " << x << ", " << y;
    // The top row is nearly the top colour, the bottom row nearly the bottom one.
    EXPECT_TRUE(colorNear(picture.at(0, 0), toBytes(settings.backgroundTop), 8));
    EXPECT_TRUE(colorNear(picture.at(0, kHeight - 1), toBytes(settings.backgroundBottom), 8));
}

TEST_F(BackgroundTest, WithoutGradientEveryPixelHasTheBottomColour) {
    settings.backgroundGradient = false;
    settings.backgroundTop = {0.90f, 0.50f, 0.10f};
    settings.backgroundBottom = {0.25f, 0.40f, 0.75f};
    const Picture picture = draw();
    const Rgb expected = toBytes(settings.backgroundBottom);
    for (int y = 0; y < kHeight; ++y)
        for (int x = 0; x < kWidth; ++x) ASSERT_TRUE(colorNear(picture.at(x, y), expected, 0)) << x << ", " << y;
}

}  // namespace
}  // namespace ovcf::test
