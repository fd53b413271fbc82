#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

const Rgb kFar{200, 200, 200};
const Rgb kNear{90, 160, 230};

// A far square of points 10..40 × 8..38 at depth 12 with a near square 20..30 × 18..28 at
// depth 8 in front of it, one point a pixel.
class EyeDomeLightingTest : public RenderTest {
protected:
    void SetUp() override {
        RenderTest::SetUp();
        if (HasFatalFailure()) return;
        std::vector<PointVertex> points;
        std::uint32_t index = 0;
        for (int y = 8; y <= 38; ++y)
            for (int x = 10; x <= 40; ++x) points.push_back(pointAt(x, y, 12.0, kFar, index++));
        for (int y = 18; y <= 28; ++y)
            for (int x = 20; x <= 30; ++x) points.push_back(pointAt(x, y, 8.0, kNear, index++));
        addNode(points);
        settings.edlEnabled = true;
        settings.edlStrength = 0.4f;
        settings.edlRadius = 1.4f;
        settings.backgroundGradient = true;
        settings.backgroundTop = {0.30f, 0.35f, 0.45f};
        settings.backgroundBottom = {0.05f, 0.06f, 0.08f};
    }
};

TEST_F(EyeDomeLightingTest, BackgroundAndFlatSurfacesKeepTheirColours) {
    const Picture lit = draw();
    settings.edlEnabled = false;
    const Picture plain = draw();
    // Background pixels, including those touching the far square, are exactly as without EDL.
    for (int y = 0; y < kHeight; ++y) {
        for (int x = 0; x < kWidth; ++x) {
            if (x < 10 || x > 40 || y < 8 || y > 38) {
                ASSERT_EQ(lit.at(x, y), plain.at(x, y)) << x << ", " << y;
            }
        }
    }
    // Inside a surface of one depth, and on the near square (its neighbours lie behind it).
    EXPECT_EQ(lit.at(12, 10), kFar);
    EXPECT_EQ(lit.at(10, 8), kFar);
    EXPECT_EQ(lit.at(25, 23), kNear);
    EXPECT_EQ(lit.at(20, 18), kNear);
    EXPECT_EQ(lit.at(30, 28), kNear);
}

TEST_F(EyeDomeLightingTest, DarkensTheFarSideOfADepthEdgeInThePhotorealisticView) {
    const Picture lit = draw();
    for (const auto& [x, y] : {std::pair{19, 23}, std::pair{31, 23}, std::pair{25, 17}, std::pair{25, 29}}) {
        const Rgb c = lit.at(x, y);
        EXPECT_LT(c.r, kFar.r / 2) << "pixel " << x << ", " << y << " " << c;
        EXPECT_EQ(c.r, c.g);  // a shade of the same grey
    }
    // Two pixels away the samples, 1.4 pixels out, all land on the far square again.
    EXPECT_EQ(lit.at(18, 23), kFar);
    EXPECT_EQ(lit.at(32, 23), kFar);
    EXPECT_EQ(lit.at(25, 16), kFar);
    EXPECT_EQ(lit.at(25, 30), kFar);

    settings.viewMode = 1;  // only the photorealistic view uses it
    EXPECT_EQ(draw().at(19, 23), kFar);
}

}  // namespace
}  // namespace ovcf::test
