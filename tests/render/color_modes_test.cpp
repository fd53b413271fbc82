#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

// Surveyed colours of the test points, one point each, side by side on one row.
const Rgb kOrange{200, 100, 50};
const Rgb kGrey{128, 128, 128};
const Rgb kGreen{60, 240, 140};
const Rgb kPink{200, 50, 100};  // red highest, green below blue: the hue wraps

class ColorModeTest : public RenderTest {
protected:
    static constexpr int kRow = 24;
    static int column(int i) { return 8 + 6 * i; }
    // Node positions are relative to the node's origin in render space.
    static constexpr Vec3d kNodeOrigin{1.5, -2.0, 1.0};

    void SetUp() override {
        RenderTest::SetUp();
        if (HasFatalFailure()) return;
        std::vector<PointVertex> points;
        const Rgb colors[] = {kOrange, kGrey, kGreen, kPink};
        for (int i = 0; i < 4; ++i)
            points.push_back(pointAt(column(i), kRow, kEyeDistance, colors[i], i, kNodeOrigin));
        points[0].intensity = 23593;  // 0.36 of full scale: sqrt gives 0.6
        points[0].classification = 2;
        points[1].classification = 9;
        points[2].classification = 1;
        addNode(points, kNodeOrigin, 3);
    }

    // The points' colours in the given mode.
    std::vector<Rgb> drawMode(std::uint32_t mode) {
        settings.colorMode = mode;
        const Picture picture = draw();
        return {picture.at(column(0), kRow), picture.at(column(1), kRow), picture.at(column(2), kRow),
                picture.at(column(3), kRow)};
    }
};

// Each mode's colour of the four points worked out by hand; a column that is not given is not checked.
struct ModeCase {
    const char* what;
    std::uint32_t mode;
    std::vector<std::pair<int, Rgb>> expected;  // (point, colour)
};

TEST_F(ColorModeTest, EveryModeGivesTheColourWorkedOutByHand) {
    settings.monochromeColor = {0.2f, 0.4f, 0.6f};
    const std::vector<ModeCase> cases = {
        {"surveyed colour as it is", 0, {{0, kOrange}, {1, kGrey}, {2, kGreen}, {3, kPink}}},
        {"monochrome slot", 1, {{0, {51, 102, 153}}, {2, {51, 102, 153}}}},
        // 0.299·200 + 0.587·100 + 0.114·50; 0.299·60 + 0.587·240 + 0.114·140
        {"greyscale is the luminance", 3, {{0, {124, 124, 124}}, {1, kGrey}, {2, {175, 175, 175}}}},
        {"negative", 4, {{0, {55, 155, 205}}, {1, {127, 127, 127}}, {2, {195, 15, 115}}}},
        {"red", 5, {{0, {200, 200, 200}}}},
        {"green", 6, {{0, {100, 100, 100}}}},
        {"blue", 7, {{2, {140, 140, 140}}}},
        {"average", 8, {{0, {117, 117, 117}}}},
        // Hue 1/18 of the circle; no saturation keeps the lightness; (80/180 + 2) / 6; (-50/150 + 6) / 6.
        {"hue", 9, {{0, {255, 85, 0}}, {1, kGrey}, {2, {0, 255, 113}}, {3, {255, 0, 85}}}},
        {"lightness", 10, {{0, {125, 125, 125}}}},  // (200 + 50) / 2
        // 150 / 250; grey has none; lightness above 0.5: 180 / (510 - 300)
        {"saturation", 11, {{0, {153, 153, 153}}, {1, {0, 0, 0}}, {2, {219, 219, 219}}}},
        {"intensity through a square root", 12, {{0, {153, 153, 153}}, {1, {0, 0, 0}}}},
        {"classes: ground, water, anything else", 13,
         {{0, toBytes(0.55, 0.40, 0.25)}, {1, toBytes(0.25, 0.45, 0.85)}, {2, toBytes(0.65, 0.65, 0.65)}}},
    };
    for (const ModeCase& c : cases) {
        const std::vector<Rgb> drawn = drawMode(c.mode);
        for (const auto& [point, colour] : c.expected)
            EXPECT_TRUE(colorNear(drawn[static_cast<std::size_t>(point)], colour))
                << c.what << ": point " << point << " drawn " << drawn[static_cast<std::size_t>(point)];
    }
}

TEST_F(ColorModeTest, ElevationRampBlendsBetweenItsStops) {
    clearNodes();
    settings.colorMode = 2;
    // Points at z = 0, 1, 4, 8 and -2 over the range 0..8: t = 0, 0.125, 0.5, 1 and below 0.
    const double heights[] = {0.0, 1.0, 4.0, 8.0, -2.0};
    std::vector<PointVertex> points;
    for (int i = 0; i < 5; ++i)
        points.push_back(pointAt(column(i), kRow, kEyeDistance - heights[i], kGrey, i, kNodeOrigin));
    addNode(points, kNodeOrigin);
    FrameScene frame = scene();
    frame.elevationLow = 0.0f;
    frame.elevationHigh = 8.0f;
    const Picture picture = draw(frame);
    EXPECT_TRUE(colorNear(picture.at(column(0), kRow), toBytes(0.20, 0.30, 0.70)));
    EXPECT_TRUE(colorNear(picture.at(column(1), kRow), toBytes(0.20, 0.525, 0.725)));
    EXPECT_TRUE(colorNear(picture.at(column(2), kRow), toBytes(0.30, 0.75, 0.30)));
    EXPECT_TRUE(colorNear(picture.at(column(3), kRow), toBytes(0.80, 0.25, 0.20)));
    EXPECT_TRUE(colorNear(picture.at(column(4), kRow), toBytes(0.20, 0.30, 0.70)));
}

TEST_F(ColorModeTest, LevelColoursRepeatEveryEightLevels) {
    clearNodes();
    // The same pixel column pattern, one node per level 0, 3 and 8.
    const std::uint32_t levels[] = {0, 3, 8};
    for (int i = 0; i < 3; ++i) addNode({pointAt(column(i), kRow, kEyeDistance, kGrey, i)}, {}, levels[i]);
    for (std::uint32_t mode : {14u, 20u}) {
        const std::vector<Rgb> c = drawMode(mode);
        EXPECT_TRUE(colorNear(c[0], toBytes(0.90, 0.25, 0.25))) << "mode " << mode;
        EXPECT_TRUE(colorNear(c[1], toBytes(0.35, 0.85, 0.35))) << "mode " << mode;
        EXPECT_EQ(c[2], c[0]) << "mode " << mode;
    }
}

}  // namespace
}  // namespace ovcf::test
