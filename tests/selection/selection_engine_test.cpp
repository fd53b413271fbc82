// The selection engine against an independent reading of the file: every point of every node is
// projected with the camera and tested against the shape here, and the engine must select exactly
// those points whatever the shape, the camera, the number of readers and the combine mode.
#include "SelectionTestCloud.h"

namespace ovcf::test {
namespace {

class SelectionEngineTest : public SelectionCloudTest {
protected:
    void SetUp() override {
        openCloud(fullTree(2, 300), -1);  // 73 nodes, 300 to 372 points each
        engine.open(path, 2);
    }

    // The points whose projection the shape holds, projected here.
    std::set<std::uint64_t> expected(const ScreenShape& shape, std::uint64_t* behind = nullptr) const {
        std::set<std::uint64_t> in;
        for (std::uint64_t g = 0; g < points.size(); ++g)
            if (inside(shape, g, behind)) in.insert(g);
        return in;
    }

    SelectionReport run(const ScreenShape& shape, std::uint32_t mode = CombineReplace, SelectionFilter* filter = nullptr) {
        return engine.select(shape, mode, query(filter), reader.header(), nodes, selection);
    }
};

ScreenShape polygon(std::vector<float> xy) {
    ScreenShape s;
    s.setPolygon(std::move(xy));
    return s;
}

// A filter that only asks to see every point: nodes can no longer be taken whole unread.
struct SeeEveryPoint : SelectionFilter {};

TEST_F(SelectionEngineTest, SelectsExactlyThePointsInsideTheShapeFromAnyViewWithAnyReaderCount) {
    const ScreenShape shapes[] = {rectangleShape(300, 40, 80, 250), circleShape(200, 150, 85),
                                  polygon({60, 60, 340, 90, 250, 280, 120, 200, 150, 120}),
                                  rectangleShape(-50, -50, kWidth + 50, kHeight + 50)};
    const int views[] = {-1, 0, 2};  // three-quarter, top, side
    for (int view : views) {
        camera.setStandardView(view);
        for (const ScreenShape& shape : shapes) {
            const std::set<std::uint64_t> want = expected(shape);
            ASSERT_FALSE(want.empty());
            for (int readers : {1, 2, 4}) {
                engine.open(path, readers);
                const SelectionReport report = run(shape);
                ASSERT_EQ(selected(), want) << shape.name() << " view " << view << " readers " << readers;
                EXPECT_EQ(report.found, want.size());
                EXPECT_EQ(report.totalSelected, want.size());
                EXPECT_EQ(report.inShape, want.size());
                // Reading every point gives the same answer as taking nodes whole.
                SeeEveryPoint reading;
                run(shape, CombineReplace, &reading);
                ASSERT_EQ(selected(), want);
            }
        }
    }
}

TEST_F(SelectionEngineTest, PointsOnOrAHairFromARectanglesEdgesFollowTheSinglePrecisionTest) {
    // Edges through the projections of four points, as they are and one float step either way:
    // the points on them are decided by the exact test, not by the quick one.
    camera.setStandardView(-1);
    const std::array<float, 16> m = camera.viewProjection();
    const auto screen = [&](std::uint64_t g) {
        const Vec3d d = local(points[g]);
        const double w = m[3] * d.x + m[7] * d.y + m[11] * d.z + m[15];
        return std::pair<float, float>(float(((m[0] * d.x + m[4] * d.y + m[8] * d.z + m[12]) / w + 1.0) * kWidth * 0.5),
                                       float((1.0 - (m[1] * d.x + m[5] * d.y + m[9] * d.z + m[13]) / w) * kHeight * 0.5));
    };
    const auto [x0, y0] = screen(1000);
    const auto [x1, y1] = screen(15000);
    for (const float nudge : {0.0f, 1.0f, -1.0f}) {
        const auto step = [&](float v, float away) { return nudge == 0 ? v : std::nextafter(v, v + nudge * away); };
        const float left = std::min(x0, x1), right = std::max(x0, x1), top = std::min(y0, y1), bottom = std::max(y0, y1);
        const ScreenShape shape = rectangleShape(step(left, -1), step(top, -1), step(right, 1), step(bottom, 1));
        const std::set<std::uint64_t> want = expected(shape);
        EXPECT_EQ(want.count(1000) + want.count(15000), nudge < 0 ? 0u : 2u);
        for (const bool everyPoint : {false, true}) {
            SeeEveryPoint reading;
            run(shape, CombineReplace, everyPoint ? &reading : nullptr);
            EXPECT_EQ(selected(), want) << "nudge " << nudge << (everyPoint ? ", every point read" : "");
        }
    }
}

TEST_F(SelectionEngineTest, PointsBehindTheCameraAreNeverSelected) {
    // From inside the cloud, looking sideways: half of it lies behind the eye.
    camera.distance = 0.5;
    camera.target = reference;
    camera.yaw = 0;
    camera.pitch = 0;
    const ScreenShape everything = rectangleShape(-1e6f, -1e6f, 1e6f, 1e6f);
    std::uint64_t behind = 0;
    const std::set<std::uint64_t> want = expected(everything, &behind);
    ASSERT_GT(behind, 1000u);
    const SelectionReport report = run(everything);
    EXPECT_EQ(selected(), want);
    EXPECT_EQ(report.examined, reader.header().pointCount - behind);
}

TEST_F(SelectionEngineTest, CombineModesAddAndSubtract) {
    const ScreenShape a = rectangleShape(50, 50, 220, 200), b = circleShape(250, 150, 80);
    const std::set<std::uint64_t> inA = expected(a), inB = expected(b);
    run(a);
    run(b, CombineAdd);
    std::set<std::uint64_t> both = inA;
    both.insert(inB.begin(), inB.end());
    EXPECT_EQ(selected(), both);
    run(a, CombineSubtract);
    std::set<std::uint64_t> onlyB;
    for (std::uint64_t g : inB)
        if (!inA.count(g)) onlyB.insert(g);
    EXPECT_EQ(selected(), onlyB);

    // Subtracting where nothing is selected leaves the selection; replacing with a shape that
    // meets no node clears it.
    run(a, CombineSubtract);
    EXPECT_EQ(selected(), onlyB);
    const SelectionReport off = run(rectangleShape(-500, -500, -400, -400));
    EXPECT_EQ(selection.count(), 0u);
    EXPECT_GT(off.subtreesDiscarded, 0u);
    EXPECT_EQ(off.nodesRead, 0u);
}

TEST_F(SelectionEngineTest, AnUnreadableNodeIsSkippedWithAWarningAndTheRestIsSelected) {
    const std::uint32_t broken = 5;
    const ScreenShape all = rectangleShape(-1e6f, -1e6f, 1e6f, 1e6f);
    std::set<std::uint64_t> want = expected(all);
    corruptBlock(path, broken);
    engine.open(path, 2);
    LogCapture log;
    SeeEveryPoint reading;  // the broken node must be read, not taken whole
    const std::uint64_t first = reader.nodes()[broken].firstPoint;
    for (std::uint64_t g = first; g < first + reader.nodes()[broken].pointCount; ++g) want.erase(g);
    const SelectionReport report = run(all, CombineReplace, &reading);
    EXPECT_EQ(selected(), want);
    EXPECT_EQ(report.nodesRead, reader.nodes().size() - 1);
    bool warned = false;
    for (const LogCapture::Line& line : log.lines())
        warned |= line.level == LogWarn && line.text.rfind("selezione: nodo 5 non leggibile (", 0) == 0;
    EXPECT_TRUE(warned);
}

TEST_F(SelectionEngineTest, ReadersThatCannotOpenLeaveTheSelectionAsItWas) {
    run(rectangleShape(50, 50, 220, 200));
    const std::set<std::uint64_t> before = selected();
    engine.open(dir.file("missing.ovcf"), 2);
    LogCapture log;
    const SelectionReport report = run(rectangleShape(0, 0, kWidth, kHeight));
    EXPECT_EQ(selected(), before);
    EXPECT_EQ(report.totalSelected, before.size());
    ASSERT_FALSE(log.lines().empty());
    EXPECT_EQ(log.lines().back().level, LogError);
    EXPECT_EQ(log.lines().back().text.rfind("selezione: impossibile aprire il file (", 0), 0u);
}

TEST(SelectionCommands, SelectAllAndInvertLeaveDeletedPointsOut) {
    PointBitmap selection, deleted;
    selection.reset(130);
    deleted.reset(130);
    for (std::uint64_t g : {0u, 64u, 129u}) deleted.set(g);
    selectAllPoints(selection, deleted);
    EXPECT_EQ(selection.count(), 127u);
    EXPECT_FALSE(selection.test(64));
    selection.reset(130);
    selection.set(1);
    invertSelection(selection, deleted);
    EXPECT_EQ(selection.count(), 126u);
    EXPECT_FALSE(selection.test(1));
    EXPECT_FALSE(selection.test(129));
    clearSelection(selection);
    EXPECT_EQ(selection.count(), 0u);
}

}  // namespace
}  // namespace ovcf::test
