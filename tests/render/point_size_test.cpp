#include <cmath>

#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

const Rgb kColor{250, 180, 30};

class PointSizeTest : public RenderTest {
protected:
    static constexpr int kX = 32;
    static constexpr int kY = 24;

    // The square of pixels around (kX, kY) the point covers: its side, or -1 when what it
    // covers is not a centred square.
    int coveredSquare(const Picture& picture) const {
        int count = 0, minX = kWidth, maxX = -1, minY = kHeight, maxY = -1;
        for (int y = 0; y < kHeight; ++y)
            for (int x = 0; x < kWidth; ++x)
                if (picture.at(x, y) == kColor) {
                    ++count;
                    minX = std::min(minX, x);
                    maxX = std::max(maxX, x);
                    minY = std::min(minY, y);
                    maxY = std::max(maxY, y);
                }
        const int side = maxX - minX + 1;
        if (count == 0 || side != maxY - minY + 1 || count != side * side || minX + maxX != 2 * kX ||
            minY + maxY != 2 * kY)
            return -1;
        return side;
    }
};

TEST_F(PointSizeTest, FixedSizeCoversASquareOfThatManyPixels) {
    addNode({pointAt(kX, kY, kEyeDistance, kColor, 0)});
    settings.pixelSize = 1.0f;
    EXPECT_EQ(coveredSquare(draw()), 1);
    settings.pixelSize = 3.0f;
    EXPECT_EQ(coveredSquare(draw()), 3);
    // The pixel size is clamped to the size limits.
    settings.pixelSize = 9.0f;
    settings.maxPointSize = 5.0f;
    EXPECT_EQ(coveredSquare(draw()), 5);
}

TEST_F(PointSizeTest, AdaptiveSizeFollowsTheProjectedSpacing) {
    settings.pointSizeMode = 1;
    settings.pointSize = 1.0f;
    // Spacing × pixels per metre at unit distance / distance = 5 pixels.
    const double factor = kHeight / (2.0 * std::tan(camera.fieldOfView / 2.0));
    const float spacing = static_cast<float>(5.0 * kEyeDistance / factor);
    addNode({pointAt(kX, kY, kEyeDistance, kColor, 0)}, {}, 0, spacing);
    EXPECT_EQ(coveredSquare(draw()), 5);
    settings.pointSize = 0.6f;  // the multiplier: 3 pixels
    EXPECT_EQ(coveredSquare(draw()), 3);
    settings.pointSize = 2.0f;
    settings.maxPointSize = 7.0f;
    EXPECT_EQ(coveredSquare(draw()), 7);
    settings.pointSize = 0.01f;
    settings.minPointSize = 3.0f;
    EXPECT_EQ(coveredSquare(draw()), 3);
}

TEST_F(PointSizeTest, RoundPointsLoseTheirCorners) {
    addNode({pointAt(kX, kY, kEyeDistance, kColor, 0)});
    settings.pixelSize = 7.0f;
    settings.roundPoints = true;
    const Picture round = draw();
    EXPECT_EQ(round.at(kX, kY), kColor);
    EXPECT_EQ(round.at(kX + 3, kY), kColor);
    EXPECT_EQ(round.at(kX, kY - 3), kColor);
    for (int dx : {-3, 3})
        for (int dy : {-3, 3}) EXPECT_EQ(round.at(kX + dx, kY + dy), background()) << dx << ", " << dy;
    settings.roundPoints = false;
    EXPECT_EQ(coveredSquare(draw()), 7);
}

}  // namespace
}  // namespace ovcf::test
