// The selection engine against an independent reading of the file: every point of every node is
// projected with the camera and tested against the shape here, and the engine must select exactly
// those points whatever the shape, the camera, the number of readers and the combine mode.
#include <gtest/gtest.h>

#include <array>
#include <set>

#include "../streaming/StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudNodes.h"
#include "navigation/Camera.h"
#include "ovcf/OvcfReader.h"
#include "selection/SelectionEngine.h"
#include "selection/SelectionFilter.h"

namespace ovcf::test {
namespace {

constexpr int kWidth = 400, kHeight = 300;

class SelectionEngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.file("cloud.ovcf");
        writeCloud(path, fullTree(2, 300));  // 73 nodes, 300 to 372 points each
        std::string error;
        ASSERT_TRUE(reader.open(path, error)) << error;
        reference = cloudReferencePoint(reader.header());
        nodes = describeNodes(reader.header(), reader.nodes(), reference);
        camera.setViewport(kWidth, kHeight);
        camera.renderOrigin = reference;
        camera.fitBox({reader.header().boundsMin[0], reader.header().boundsMin[1], reader.header().boundsMin[2]},
                      {reader.header().boundsMax[0], reader.header().boundsMax[1], reader.header().boundsMax[2]});
        selection.reset(reader.header().pointCount);
        engine.open(path, 2);
    }

    SelectionQuery query() const {
        SelectionQuery q;
        q.viewProjection = camera.viewProjection();
        q.localOrigin = camera.renderOrigin;
        q.viewportWidth = kWidth;
        q.viewportHeight = kHeight;
        return q;
    }

    // The points whose projection the shape holds, read and projected here.
    std::set<std::uint64_t> expected(const ScreenShape& shape, std::uint64_t* behind = nullptr) {
        const std::array<float, 16> m = camera.viewProjection();
        const FileHeader& h = reader.header();
        std::set<std::uint64_t> inside;
        std::vector<PointRecord> points;
        std::string error;
        for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
            EXPECT_TRUE(reader.readNode(n, points, error)) << error;
            for (std::size_t j = 0; j < points.size(); ++j) {
                const double d[3] = {std::int32_t(points[j].x) * h.step[0] + h.offset[0] - reference.x,
                                     std::int32_t(points[j].y) * h.step[1] + h.offset[1] - reference.y,
                                     std::int32_t(points[j].z) * h.step[2] + h.offset[2] - reference.z};
                const double w = m[3] * d[0] + m[7] * d[1] + m[11] * d[2] + m[15];
                if (w <= 1e-9) {
                    if (behind) ++*behind;
                    continue;
                }
                const double x = ((m[0] * d[0] + m[4] * d[1] + m[8] * d[2] + m[12]) / w + 1.0) * kWidth * 0.5;
                const double y = (1.0 - (m[1] * d[0] + m[5] * d[1] + m[9] * d[2] + m[13]) / w) * kHeight * 0.5;
                if (shape.contains(float(x), float(y))) inside.insert(reader.nodes()[n].firstPoint + j);
            }
        }
        return inside;
    }

    std::set<std::uint64_t> selected() const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < selection.pointCount(); ++g)
            if (selection.test(g)) out.insert(g);
        return out;
    }

    SelectionReport run(const ScreenShape& shape, std::uint32_t mode = CombineReplace, SelectionFilter* filter = nullptr) {
        SelectionQuery q = query();
        q.filter = filter;
        return engine.select(shape, mode, q, reader.header(), nodes, selection);
    }

    TempDir dir{"orvane_selection"};
    std::string path;
    OvcfReader reader;
    Vec3d reference;
    std::vector<NodeInfo> nodes;
    Camera camera;
    PointBitmap selection;
    SelectionEngine engine;
};

ScreenShape rectangle(float x0, float y0, float x1, float y1) {
    ScreenShape s;
    s.setRectangle(x0, y0, x1, y1);
    return s;
}
ScreenShape circle(float cx, float cy, float rx, float ry) {
    ScreenShape s;
    s.setCircle(cx, cy, rx, ry);
    return s;
}
ScreenShape polygon(std::vector<float> xy) {
    ScreenShape s;
    s.setPolygon(std::move(xy));
    return s;
}

// A filter that only asks to see every point: nodes can no longer be taken whole unread.
struct SeeEveryPoint : SelectionFilter {};

TEST_F(SelectionEngineTest, SelectsExactlyThePointsInsideTheShapeFromAnyViewWithAnyReaderCount) {
    const ScreenShape shapes[] = {rectangle(300, 40, 80, 250), circle(200, 150, 260, 210),
                                  polygon({60, 60, 340, 90, 250, 280, 120, 200, 150, 120}),
                                  rectangle(-50, -50, kWidth + 50, kHeight + 50)};
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

TEST_F(SelectionEngineTest, PointsBehindTheCameraAreNeverSelected) {
    // From inside the cloud, looking sideways: half of it lies behind the eye.
    camera.distance = 0.5;
    camera.target = reference;
    camera.yaw = 0;
    camera.pitch = 0;
    const ScreenShape everything = rectangle(-1e6f, -1e6f, 1e6f, 1e6f);
    std::uint64_t behind = 0;
    const std::set<std::uint64_t> want = expected(everything, &behind);
    ASSERT_GT(behind, 1000u);
    const SelectionReport report = run(everything);
    EXPECT_EQ(selected(), want);
    EXPECT_EQ(report.examined, reader.header().pointCount - behind);
}

TEST_F(SelectionEngineTest, CombineModesAddAndSubtract) {
    const ScreenShape a = rectangle(50, 50, 220, 200), b = circle(250, 150, 330, 150);
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
    const SelectionReport off = run(rectangle(-500, -500, -400, -400));
    EXPECT_EQ(selection.count(), 0u);
    EXPECT_GT(off.subtreesDiscarded, 0u);
    EXPECT_EQ(off.nodesRead, 0u);
}

TEST_F(SelectionEngineTest, AnUnreadableNodeIsSkippedWithAWarningAndTheRestIsSelected) {
    const std::uint32_t broken = 5;
    const ScreenShape all = rectangle(-1e6f, -1e6f, 1e6f, 1e6f);
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
    run(rectangle(50, 50, 220, 200));
    const std::set<std::uint64_t> before = selected();
    engine.open(dir.file("missing.ovcf"), 2);
    LogCapture log;
    const SelectionReport report = run(rectangle(0, 0, kWidth, kHeight));
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
