#include "RenderTestSupport.h"

namespace ovcf::test {
namespace {

const Rgb kPointColor{40, 200, 120};

// 128 points on a grid of every other pixel, 30 to a row, numbered 0..127.
class PointStateTest : public RenderTest {
protected:
    static constexpr int kPoints = 128;
    static int px(int i) { return 2 + (i % 30) * 2; }
    static int py(int i) { return 2 + (i / 30) * 2; }

    void SetUp() override {
        RenderTest::SetUp();
        if (HasFatalFailure()) return;
        std::vector<PointVertex> points;
        for (int i = 0; i < kPoints; ++i) points.push_back(pointAt(px(i), py(i), kEyeDistance, kPointColor, i));
        addNode(points);
    }

    static std::vector<std::uint64_t> bits(std::initializer_list<int> indices) {
        std::vector<std::uint64_t> words(2, 0);
        for (int i : indices) words[i / 64] |= std::uint64_t{1} << (i % 64);
        return words;
    }

    bool drawn(const Picture& picture, int i) const { return picture.at(px(i), py(i)) != background(); }
};

TEST_F(PointStateTest, AClipPlaneHidesTheCloudOnItsOutside) {
    FrameScene frame = scene();
    frame.clipBoxActive = true;
    // Keep x >= 0: the left half of the view is outside; the other five planes never clip.
    frame.clipPlanes[3].normal[0] = 1.0f;
    frame.clipPlanes[3].offset = 0.0f;
    const Picture picture = draw(frame);
    int left = 0, right = 0;
    for (int i = 0; i < kPoints; ++i) {
        if (px(i) < kWidth / 2) left += drawn(picture, i);
        else right += drawn(picture, i);
    }
    EXPECT_EQ(left, 0);
    EXPECT_EQ(right, 4 * 15);  // rows 0..3 hold 15 right-half points each; row 4 has 8 points, all left

    // Planes given while the clip box is off do nothing.
    frame.clipBoxActive = false;
    const Picture unclipped = draw(frame);
    for (int i = 0; i < kPoints; ++i) EXPECT_TRUE(drawn(unclipped, i)) << i;
}

TEST_F(PointStateTest, ADeletedPointVanishesAndComesBackWhenItsBitIsCleared) {
    const std::vector<std::uint64_t> deleted = bits({31, 32, 63, 64, 100});
    renderer.uploadDeletedBits(deleted.data(), deleted.size());
    FrameScene frame = scene();
    frame.deletionActive = true;
    const Picture picture = draw(frame);
    for (int i = 0; i < kPoints; ++i) {
        const bool isDeleted = i == 31 || i == 32 || i == 63 || i == 64 || i == 100;
        EXPECT_EQ(drawn(picture, i), !isDeleted) << "point " << i;
    }
    EXPECT_TRUE(drawn(draw(), 31)) << "the bits count only while something is deleted";

    const std::vector<std::uint64_t> none(2, 0);
    renderer.uploadDeletedBits(none.data(), none.size());
    const Picture restored = draw(frame);
    for (int i = 0; i < kPoints; ++i) EXPECT_TRUE(drawn(restored, i)) << "point " << i;
}

TEST_F(PointStateTest, SelectedPointsTakeTheHighlightColour) {
    settings.highlightColor = {1.0f, 0.15f, 0.80f};
    const std::vector<std::uint64_t> selected = bits({0, 31, 32, 64, 127});
    renderer.uploadSelectedBits(selected.data(), selected.size());
    FrameScene frame = scene();
    frame.selectionActive = true;
    const Picture picture = draw(frame);
    const Rgb highlight = toBytes(settings.highlightColor);
    for (int i = 0; i < kPoints; ++i) {
        const bool isSelected = i == 0 || i == 31 || i == 32 || i == 64 || i == 127;
        EXPECT_EQ(picture.at(px(i), py(i)), isSelected ? highlight : kPointColor) << "point " << i;
    }

    // With the highlight switched off a selected point keeps its own colour.
    settings.selectionHighlight = false;
    EXPECT_EQ(draw(frame).at(px(31), py(31)), kPointColor);
}

TEST_F(PointStateTest, AnEmptyMapIsAValidTexture) {
    renderer.uploadSelectedBits(nullptr, 0);
    renderer.uploadDeletedBits(nullptr, 0);
    FrameScene frame = scene();
    frame.selectionActive = true;
    frame.deletionActive = true;
    const Picture picture = draw(frame);
    EXPECT_EQ(picture.at(px(0), py(0)), kPointColor);
    // Points beyond the map read as neither selected nor deleted.
    EXPECT_EQ(picture.at(px(127), py(127)), kPointColor);
}

// A driver out of memory: an unknown usage makes the storage call fail and give no storage.
void refusedStorage(std::uint32_t buffer, std::size_t bytes, const void* data) {
    glNamedBufferData(buffer, static_cast<GLsizeiptr>(bytes), data, GL_NONE);
}

TEST_F(PointStateTest, MapsWithoutStorageAreNotReadAndTheirFailureIsLoggedOnce) {
    LogCapture log;
    settings.highlightColor = {1.0f, 0.15f, 0.80f};
    FrameScene frame = scene();
    frame.selectionActive = true;
    frame.deletionActive = true;
    const std::vector<std::uint64_t> marked = bits({3, 70});
    renderer.setBitmapStorage(&refusedStorage);
    for (int change = 0; change < 3; ++change) {
        renderer.uploadSelectedBits(marked.data(), marked.size());
        renderer.uploadDeletedBits(marked.data(), marked.size());
    }
    const Picture degraded = draw(frame);
    for (int i : {3, 70}) EXPECT_EQ(degraded.at(px(i), py(i)), kPointColor) << "point " << i;
    int failures = 0;
    for (const LogCapture::Line& line : log.lines) {
        failures += line.text.rfind("mappa dei punti non caricata sulla scheda grafica", 0) == 0;
        EXPECT_EQ(line.text.find("durante 'drawFrame'"), std::string::npos) << line.text;
    }
    EXPECT_EQ(failures, 2) << "once for each map";

    // Storage again: both maps are read at the next change.
    renderer.setBitmapStorage(nullptr);
    const std::vector<std::uint64_t> selected = bits({3});
    const std::vector<std::uint64_t> deleted = bits({70});
    renderer.uploadSelectedBits(selected.data(), selected.size());
    renderer.uploadDeletedBits(deleted.data(), deleted.size());
    const Picture restored = draw(frame);
    EXPECT_EQ(restored.at(px(3), py(3)), toBytes(settings.highlightColor));
    EXPECT_FALSE(drawn(restored, 70));
}

class XRayTest : public RenderTest {};

TEST_F(XRayTest, PointsBlendWithPremultipliedAlphaAndSelectedOnesStayOpaque) {
    settings.viewMode = 2;
    settings.xrayOpacity = 0.35f;
    settings.edlEnabled = true;  // X-ray composes without eye-dome lighting
    settings.backgroundBottom = {0.2f, 0.4f, 0.6f};
    settings.highlightColor = {1.0f, 0.15f, 0.80f};
    const Rgb c1{200, 100, 50};
    const Rgb c2{20, 220, 140};
    // A single point, two points on the same pixel at different depths, and a selected point.
    addNode({pointAt(10, 10, 9.0, c1, 0), pointAt(20, 10, 9.0, c1, 1), pointAt(20, 10, 11.0, c2, 2),
             pointAt(30, 10, 9.0, c1, 3)});
    const std::vector<std::uint64_t> selected{std::uint64_t{1} << 3};
    renderer.uploadSelectedBits(selected.data(), selected.size());
    FrameScene frame = scene();
    frame.selectionActive = true;
    const Picture picture = draw(frame);

    const double a = 0.35;
    auto over = [a](const Rgb& src, double r, double g, double b) {
        return std::array<double, 3>{src.r / 255.0 * a + r * (1 - a), src.g / 255.0 * a + g * (1 - a),
                                     src.b / 255.0 * a + b * (1 - a)};
    };
    const std::array<double, 3> one = over(c1, 0.2, 0.4, 0.6);
    EXPECT_TRUE(colorNear(picture.at(10, 10), toBytes(one[0], one[1], one[2])));
    // Depth writes are off: both points of the pixel blend, the one drawn first underneath.
    const std::array<double, 3> first = over(c1, 0.2, 0.4, 0.6);
    const std::array<double, 3> both = over(c2, first[0], first[1], first[2]);
    EXPECT_TRUE(colorNear(picture.at(20, 10), toBytes(both[0], both[1], both[2]), 2));
    // 0.35 × 3 is capped at 1: the selected point hides what lies behind it.
    EXPECT_TRUE(colorNear(picture.at(30, 10), toBytes(settings.highlightColor)));
    EXPECT_TRUE(colorNear(picture.at(40, 10), toBytes(settings.backgroundBottom), 0));
}

}  // namespace
}  // namespace ovcf::test
