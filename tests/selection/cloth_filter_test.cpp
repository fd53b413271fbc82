// The cloth filter on scenes whose answer is known without simulating: flat ground with things on
// it (in the vertical and in tilted frames), a pit the stiff cloth cannot follow, a single row or
// column of cells, everything in one cell, a grid too large that must coarsen.
#include <cmath>
#include <random>

#include "SelectionTestCloud.h"
#include "selection/ClothFilter.h"

namespace ovcf::test {
namespace {

bool starts(const std::vector<LogCapture::Line>& lines, const std::string& prefix) {
    for (const LogCapture::Line& line : lines)
        if (line.level == LogInfo && line.text.rfind(prefix, 0) == 0) return true;
    return false;
}

TEST(ClothFrameTest, VerticalOrAlongTheView) {
    const struct {
        bool alongView;
        Vec3d view, u, v, w;
    } cases[] = {{false, {1, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, -1}},
                 {true, {0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, -1}},  // no direction: vertical
                 {true, {0, 3, 0}, {-1, 0, 0}, {0, 0, 1}, {0, 1, 0}},
                 {true, {1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 0, 0}},
                 {true, {0, 0, -2}, {-1, 0, 0}, {0, 1, 0}, {0, 0, -1}}};  // steep: built from y instead of z
    for (const auto& c : cases) {
        const ClothFrame f = clothFrame(c.alongView, c.view);
        for (const auto& [got, want] : {std::pair{f.u, c.u}, {f.v, c.v}, {f.w, c.w}}) {
            EXPECT_NEAR(got.x, want.x, 1e-12);
            EXPECT_NEAR(got.y, want.y, 1e-12);
            EXPECT_NEAR(got.z, want.z, 1e-12);
        }
    }
    const ClothFrame tilted = clothFrame(true, {0.3, -0.5, -0.8});
    EXPECT_NEAR(length(tilted.w), 1.0, 1e-12);
    EXPECT_NEAR(dot(tilted.u, tilted.w), 0.0, 1e-12);
    EXPECT_NEAR(dot(tilted.v, tilted.w), 0.0, 1e-12);
    EXPECT_NEAR(dot(tilted.u, tilted.v), 0.0, 1e-12);
    EXPECT_NEAR(tilted.u.z, 0.0, 1e-12);  // the cloth's first axis stays level
}

class ClothFilterTest : public ChosenPointsTest {
protected:
    // A scene point: (a, b) across the ground, `height` above it.
    struct ScenePoint {
        double a, b, height;
    };

    // Flat ground every 0.25 m over 30 × 30 m (a few millimetres of noise), with poles, a car,
    // a tree crown and low grass on it.
    static std::vector<ScenePoint> groundWithObjects() {
        std::mt19937 random(5);
        std::uniform_real_distribution<double> noise(-0.004, 0.004), unit(0.0, 1.0);
        std::vector<ScenePoint> s;
        for (int i = 0; i < 120; ++i)
            for (int j = 0; j < 120; ++j) s.push_back({-15 + i * 0.25, -15 + j * 0.25, noise(random)});
        for (double x : {-10.0, -3.0, 4.0, 11.0})
            for (double h = 0.3; h < 6; h += 0.1) s.push_back({x, x * 0.5, h});
        for (int k = 0; k < 400; ++k) s.push_back({2 + 4 * unit(random), -8 + 2 * unit(random), 0.3 + 1.2 * unit(random)});
        for (int k = 0; k < 600; ++k) {
            const double r = 3 * std::sqrt(unit(random)), t = 6.283 * unit(random);
            s.push_back({-6 + r * std::cos(t), 7 + r * std::sin(t), 3 + 2 * unit(random)});
        }
        for (int k = 0; k < 500; ++k) s.push_back({-14 + 28 * unit(random), -14 + 28 * unit(random), 0.03 + 0.09 * unit(random)});
        return s;
    }

    // Places the scene around the cube's centre, which is the local origin, so that the scene's
    // (a, b) are the local frame's when the ground is level; its ground's normal against `down`.
    void place(const std::vector<ScenePoint>& scene, const Vec3d& down) {
        const Vec3d w = normalized(down);
        const bool level = w == Vec3d{0, 0, -1};  // then (a, b) are (x, y)
        const Vec3d helper = std::fabs(w.x) < 0.9 ? Vec3d{1, 0, 0} : Vec3d{0, 1, 0};
        const Vec3d u = level ? Vec3d{1, 0, 0} : normalized(cross(w, helper));
        const Vec3d v = level ? Vec3d{0, 1, 0} : cross(w, u);
        std::vector<PointRecord> chosen;
        for (const ScenePoint& p : scene) {
            const Vec3d at = Vec3d{32.768, 32.768, 32.768} + u * p.a + v * p.b - w * p.height;
            chosen.push_back(pointAt(at.x, at.y, at.z));
        }
        makeCloud(chosen);
        // The height of every point read back, measured against the scene's ground.
        const FileHeader& h = reader.header();
        const Vec3d corner{h.offset[0] + h.rootOrigin[0] * h.step[0], h.offset[1] + h.rootOrigin[1] * h.step[1],
                           h.offset[2] + h.rootOrigin[2] * h.step[2]};
        const Vec3d base = Vec3d{32.768, 32.768, 32.768} - (reference - corner);
        heights.clear();
        for (const ReadPoint& p : cloud) heights.push_back(-dot(p.local - base, w));
    }

    std::set<std::uint64_t> higherThan(double offset) const {
        std::set<std::uint64_t> out;
        for (std::uint64_t g = 0; g < heights.size(); ++g)
            if (heights[g] > offset) out.insert(g);
        return out;
    }

    std::vector<double> heights;  // by global index
};

TEST_F(ClothFilterTest, ThingsOnFlatGroundAreSelectedAndTheGroundIsNotInAnyFrame) {
    const struct {
        bool alongView;
        Vec3d view;
        double resolution, tension;
    } cases[] = {{false, {0, 0, -1}, 1.0, 0.0}, {false, {0, 0, -1}, 0.5, 0.5}, {false, {0, 0, -1}, 2.0, 1.0},
                 {true, {0, 0, -1}, 1.0, 0.5},   {true, {0.6, 0, -0.8}, 1.0, 0.5}, {true, {0, 1, 0}, 0.75, 0.3}};
    const std::vector<ScenePoint> scene = groundWithObjects();
    for (const auto& c : cases) {
        place(scene, c.alongView ? c.view : Vec3d{0, 0, -1});
        // Nothing lies between 0.12 and 0.3 m above the ground, so the answer is clear-cut.
        const std::set<std::uint64_t> want = higherThan(0.2);
        ASSERT_GT(want.size(), 4 * 50 + 400 + 600u);
        for (int readers : {1, 16}) {
            ClothFilter filter({c.alongView, c.resolution, c.tension, 0.2}, c.view);
            LogCapture log;
            SelectionReport report;
            EXPECT_EQ(select(filter, readers, &report), want)
                << "resolution " << c.resolution << " view (" << c.view.x << ", " << c.view.y << ", " << c.view.z << ")";
            EXPECT_EQ(filter.baseCount(), cloud.size() - want.size());
            EXPECT_TRUE(starts(log.lines(), c.alongView ? "  sporgenze, telo come la vista a " : "  sporgenze, telo verticale a "));
        }
    }
}

TEST_F(ClothFilterTest, TheStiffClothBridgesAPitEvenWithoutTension) {
    // A pit one cell wide and 1 m deep in flat ground; a pole beside it. Falling freely the cloth
    // would reach the pit's floor and take the points half-way down for things standing out.
    std::vector<ScenePoint> scene;
    for (int i = 0; i < 80; ++i)
        for (int j = 0; j < 80; ++j) {
            const double a = -10 + i * 0.25, b = -10 + j * 0.25;
            const bool pit = a > 1.1 && a < 1.9 && b > 1.1 && b < 1.9;
            scene.push_back({a, b, pit ? -1.0 : 0.0});
            if (pit) scene.push_back({a, b, -0.5});
        }
    for (double h = 0.5; h < 4; h += 0.25) scene.push_back({-5, -5, h});
    place(scene, {0, 0, -1});
    const std::set<std::uint64_t> want = higherThan(0.2);
    ASSERT_EQ(want.size(), 14u);
    for (double tension : {0.0, 1.0}) {
        ClothFilter filter({false, 1.0, tension, 0.2}, {0, 0, -1});
        EXPECT_EQ(select(filter, 2), want) << "tension " << tension;
        // The cloth over the pit hangs for good: it never comes to rest.
        EXPECT_EQ(filter.cloth().fallSteps(), ClothSimulation::kMaxSteps) << "tension " << tension;
    }
}

TEST_F(ClothFilterTest, ASingleRowOrColumnOfCells) {
    for (bool row : {true, false}) {
        std::vector<ScenePoint> scene;
        for (int k = 0; k < 300; ++k) {
            const double along = -15 + k * 0.1;
            const double a = row ? along : 0.0, b = row ? 0.0 : along;
            scene.push_back({a, b, 0.0});
            if (k >= 100 && k < 130) scene.push_back({a, b, 1.0});   // a wall
            if (k >= 200 && k < 260) scene.push_back({a, b, 0.1});   // a kerb under the offset
        }
        place(scene, {0, 0, -1});
        ClothFilter filter({false, 1.0, 0.5, 0.2}, {0, 0, -1});
        EXPECT_EQ(select(filter, 2), higherThan(0.2)) << (row ? "row" : "column");
        EXPECT_EQ(row ? filter.cloth().rows() : filter.cloth().columns(), 1);
        EXPECT_EQ(filter.cloth().fallSteps(), 3);  // flat ground: all nodes land together
    }
}

TEST_F(ClothFilterTest, EverythingInOneCellSettlesOnItsLowestPointAndLogs) {
    const double zs[] = {0.0, 0.1, 0.15, 0.25, 0.5, 2.0};
    std::vector<ScenePoint> scene;
    for (double z : zs) scene.push_back({0.0, 0.0, z});
    place(scene, {0, 0, -1});
    LogCapture log;
    ClothFilter filter({false, 1.0, 0.5, 0.2}, {0, 0, -1});
    EXPECT_EQ(select(filter, 2), higherThan(0.2));
    EXPECT_EQ(filter.cloth().cellCount(), 1u);
    // One resolution above the lowest point, falling 0.2, 0.596 and then 1.184 resolutions deep.
    EXPECT_EQ(filter.cloth().fallSteps(), 3);
    EXPECT_EQ(log.count(LogInfo,
                        "  sporgenze, telo verticale a 1.00 m (chiesti 1.00), tensione 0.50, scostamento 0.20 m: 6 punti nella "
                        "sagoma, 3 di base, 3 selezionati (50.0%)"),
              1);
    EXPECT_TRUE(starts(log.lines(), "  telo: 1 celle, 3 passi di caduta; primo giro "));
    // With no offset every point strictly above the cloth stands out, the lowest one does not.
    ClothFilter noOffset({false, 1.0, 0.5, 0.0}, {0, 0, -1});
    double lowest = cloud.front().local.z;
    for (const ReadPoint& p : cloud) lowest = std::min(lowest, p.local.z);
    EXPECT_EQ(select(noOffset, 2), predicted([&](const ReadPoint& p) { return p.local.z > lowest; }));
    EXPECT_EQ(noOffset.baseCount(), 1u);
}

TEST_F(ClothFilterTest, ATooFineGridIsCoarsenedAndTheEffectiveResolutionLogged) {
    place({{-20, -20, 0.0}, {20, 20, 0.0}, {20, 20, 1.0}}, {0, 0, -1});
    const double asked = 0.005;
    // The cell numbers of the two corners, and the doublings until the range holds 4.000.000 cells.
    const auto cellOf = [&](double x) { return static_cast<std::int64_t>(std::floor(x / asked)); };
    std::int64_t i0 = cellOf(cloud.front().local.x), i1 = i0, j0 = cellOf(cloud.front().local.y), j1 = j0;
    for (const ReadPoint& p : cloud) {
        i0 = std::min(i0, cellOf(p.local.x)), i1 = std::max(i1, cellOf(p.local.x));
        j0 = std::min(j0, cellOf(p.local.y)), j1 = std::max(j1, cellOf(p.local.y));
    }
    int doublings = 0;
    while (((i1 >> doublings) - (i0 >> doublings) + 1) * ((j1 >> doublings) - (j0 >> doublings) + 1) > 4000000) ++doublings;
    ASSERT_GE(doublings, 2);
    LogCapture log;
    ClothFilter filter({false, asked, 0.5, 0.2}, {0, 0, -1});
    EXPECT_EQ(select(filter, 2), higherThan(0.2));
    EXPECT_DOUBLE_EQ(filter.cloth().effectiveResolution(), asked * (1 << doublings));
    EXPECT_LE(filter.cloth().cellCount(), 4000000u);
    char prefix[100];
    std::snprintf(prefix, sizeof prefix, "  sporgenze, telo verticale a %.2f m (chiesti 0.01)", asked * (1 << doublings));
    EXPECT_TRUE(starts(log.lines(), prefix));
}

}  // namespace
}  // namespace ovcf::test
