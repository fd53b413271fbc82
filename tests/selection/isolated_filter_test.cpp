// The isolated-points filter against neighbourhood counts worked out here from every counted
// point (inside the shape or not, deleted ones left out, the clip region widened by the radius),
// with groups found by a breadth-first search of its own; and the coarsening of large grids.
#include <map>
#include <random>

#include "SelectionTestCloud.h"
#include "core/NumberFormat.h"
#include "selection/IsolatedFilter.h"

namespace ovcf::test {
namespace {

using Cell = std::array<std::int64_t, 3>;

struct Rule {
    double radius;
    int least;  // minimum neighbours
    int group;  // group limit
};

// The points in the shape (`in`) that the rule isolates, from the points `counted`.
std::set<std::uint64_t> isolatedPoints(const std::vector<PointRecord>& points, const std::vector<bool>& in,
                                       const std::vector<bool>& counted, const Rule& rule) {
    const std::int64_t n = std::llround(rule.radius * 1000);
    const auto cellOf = [&](const PointRecord& p) {
        return Cell{floorDiv(std::int32_t(p.x), n), floorDiv(std::int32_t(p.y), n), floorDiv(std::int32_t(p.z), n)};
    };
    std::map<Cell, std::uint64_t> count;
    for (std::size_t g = 0; g < points.size(); ++g)
        if (counted[g]) ++count[cellOf(points[g])];
    const auto block = [&](const Cell& c, auto&& visit) {
        for (std::int64_t dx = -1; dx <= 1; ++dx)
            for (std::int64_t dy = -1; dy <= 1; ++dy)
                for (std::int64_t dz = -1; dz <= 1; ++dz) {
                    const auto it = count.find({c[0] + dx, c[1] + dy, c[2] + dz});
                    if (it != count.end()) visit(it->first, it->second);
                }
    };
    std::map<Cell, std::uint64_t> groupSize;
    if (rule.group >= 2)
        for (const auto& [start, unused] : count) {
            if (groupSize.count(start)) continue;
            std::vector<Cell> members{start};
            std::set<Cell> seen{start};
            std::uint64_t total = 0;
            for (std::size_t i = 0; i < members.size(); ++i) {
                const Cell current = members[i];  // the visit below grows the list
                total += count[current];
                block(current, [&](const Cell& c, std::uint64_t) {
                    if (seen.insert(c).second) members.push_back(c);
                });
            }
            for (const Cell& c : members) groupSize[c] = total;
        }
    std::set<std::uint64_t> out;
    for (std::size_t g = 0; g < points.size(); ++g) {
        if (!in[g]) continue;
        const Cell c = cellOf(points[g]);
        if (!count.count(c)) {
            out.insert(g);
            continue;
        }
        std::uint64_t around = 0;
        block(c, [&](const Cell&, std::uint64_t k) { around += k; });
        const bool alone = std::int64_t(around) - 1 < rule.least;
        const bool small = rule.group >= 2 && groupSize[c] <= std::uint64_t(rule.group);
        if (alone || small) out.insert(g);
    }
    return out;
}

// A clip region for the test: the half of the cloud with x at most `limit` (local frame).
struct HalfCloud : SelectionRegion {
    double limit = 0;
    bool contains(const Vec3d& p) const override { return p.x <= limit; }
    bool meetsBox(const Vec3d& min, const Vec3d&, double margin) const override { return min.x - margin <= limit; }
    bool containsWithin(const Vec3d& p, double margin) const override { return p.x <= limit + margin; }
};

using IsolatedFilterTest = FilterCloudTest;

TEST_F(IsolatedFilterTest, SelectsThePointsTheNeighbourhoodCountsIsolate) {
    struct Case {
        Rule rule;
        bool whole;
        int readers;
    };
    const Case cases[] = {{{0.5, 5, 1}, true, 1},   {{0.5, 5, 1}, false, 16}, {{1.0, 3, 1}, false, 2},
                          {{0.4, 10, 1}, true, 16}, {{0.5, 1, 40}, true, 1},  {{0.5, 1, 40}, false, 16},
                          {{0.5, 0, 1}, true, 16}};
    const std::vector<bool> all(points.size(), true);
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::Message() << c.rule.radius << " " << c.rule.least << " " << c.rule.group << " x" << c.readers);
        const ScreenShape shape = c.whole ? rectangleShape(0, 0, kWidth, kHeight) : circleShape(200, 150, 90);
        const std::vector<bool> in = insideAll(shape);
        const std::set<std::uint64_t> want = isolatedPoints(points, in, all, c.rule);
        if (c.rule.least == 0) EXPECT_TRUE(want.empty());  // only points of missing cells could go
        else ASSERT_FALSE(want.empty());

        IsolatedFilter filter(c.rule.radius, c.rule.least, c.rule.group, reader.header());
        LogCapture log;
        const SelectionReport report = run(shape, filter, c.readers);
        EXPECT_EQ(selected(), want);
        EXPECT_EQ(filter.level(), 0);
        EXPECT_EQ(report.countedInGrid, points.size());
        EXPECT_EQ(report.filterKept, report.inShape - want.size());
        EXPECT_EQ(c.rule.group >= 2, filter.groups() > 0);
        char prefix[120];
        std::snprintf(prefix, sizeof prefix, "  isolati, raggio %.3f m (chiesti %.3f), meno di %d vicini%s: ", c.rule.radius,
                      c.rule.radius, c.rule.least, c.rule.group >= 2 ? ", gruppi compresi" : "");
        bool logged = false;
        for (const LogCapture::Line& line : log.lines()) logged |= line.text.rfind(prefix, 0) == 0;
        EXPECT_TRUE(logged) << prefix;
    }
}

TEST_F(IsolatedFilterTest, DeletedPointsDoNotCountAndTheClipRegionCountsWithinTheRadius) {
    const Rule rule{0.5, 5, 1};
    PointBitmap deleted;
    deleted.reset(points.size());
    for (std::uint64_t g = 0; g < points.size(); g += 3) deleted.set(g);
    HalfCloud region;
    region.limit = local(points[points.size() / 2]).x;  // cuts through some cluster or other
    std::vector<bool> in(points.size()), counted(points.size());
    for (std::uint64_t g = 0; g < points.size(); ++g) {
        counted[g] = !deleted.test(g) && region.containsWithin(local(points[g]), rule.radius);
        in[g] = inside(rectangleShape(0, 0, kWidth, kHeight), g) && region.contains(local(points[g]));
    }
    const std::set<std::uint64_t> want = isolatedPoints(points, in, counted, rule);
    ASSERT_FALSE(want.empty());
    for (int readers : {1, 16}) {
        IsolatedFilter filter(rule.radius, rule.least, rule.group, reader.header());
        SelectionQuery q = query(&filter);
        q.deleted = &deleted;
        q.region = &region;
        run(rectangleShape(0, 0, kWidth, kHeight), filter, readers, &q);
        EXPECT_EQ(selected(), want) << readers;
    }

    // Nothing counted at all: the filter is unsolved and deselects everything.
    deleted.setAll();
    IsolatedFilter filter(rule.radius, rule.least, rule.group, reader.header());
    SelectionQuery q = query(&filter);
    q.deleted = &deleted;
    run(rectangleShape(0, 0, kWidth, kHeight), filter, 2, &q);
    EXPECT_FALSE(filter.solved());
    EXPECT_EQ(selection.count(), 0u);
}

TEST(IsolatedFilterGrid, LargeOrSparseGridsAreCoarsenedAndLogTheLargerRadius) {
    FileHeader header;
    header.step[0] = header.step[1] = header.step[2] = 0.001;
    struct Case {
        std::uint32_t points;  // on a line or a plane, one per 1 cm cell
        int level;
        std::size_t cells;
    };
    // 999 points: too few to judge; 1,000 in 1,000 cells: halved once; 4,002,000 cells: more than
    // 4,000,000, halved once into 1,001,000.
    const Case cases[] = {{999, 0, 999}, {1000, 1, 500}, {4002000, 1, 1001000}};
    for (const Case& c : cases) {
        IsolatedFilter filter(0.01, 5, 1, header);
        filter.prepare(1, nullptr);
        const std::uint32_t row = c.points > 100000 ? 2000 : c.points;
        for (std::uint32_t i = 0; i < c.points; ++i) {
            PointRecord p;
            p.x = 10 * (i % row);
            p.y = 10 * (i / row);
            filter.observe(0, p, {});
        }
        DroppedPoints drop;
        filter.finish(drop);
        EXPECT_EQ(filter.level(), c.level) << c.points;
        EXPECT_EQ(filter.grid().size(), c.cells) << c.points;
        SelectionReport report;
        filter.fillReport(report);
        LogCapture log;
        filter.log(report);
        ASSERT_EQ(log.lines().size(), 2u);
        EXPECT_EQ(log.lines()[0].text, c.level ? "  isolati, raggio 0.020 m (chiesti 0.010), meno di 5 vicini: 0 punti nella sagoma, 0 con vicini a sufficienza, 0 selezionati da eliminare (0.0%)"
                                               : "  isolati, raggio 0.010 m (chiesti 0.010), meno di 5 vicini: 0 punti nella sagoma, 0 con vicini a sufficienza, 0 selezionati da eliminare (0.0%)");
        EXPECT_EQ(log.lines()[1].text.rfind("  isolati: " + formatCount(c.points) + " punti contati (anche fuori dalla sagoma), " +
                                                formatCount(c.cells) + " celle, 0 gruppi; primo giro ", 0),
                  0u);
    }
}

TEST(IsolatedFilterGrid, NeighbourhoodsAreTheSameOnOneThreadAndOnSixteen) {
    std::mt19937 random(5);
    NeighbourGrid one;
    for (int i = 0; i < 20000; ++i)
        one.add(std::int32_t(random() % 40) - 20, std::int32_t(random() % 40) - 20, std::int32_t(random() % 10), 1 + random() % 3);
    one.add(INT32_MAX, INT32_MIN, 0, 7);  // a block at the edge of the coordinates
    NeighbourGrid sixteen = one;
    one.countNeighbourhoods(1);
    sixteen.countNeighbourhoods(16, 0);
    std::uint64_t checked = 0;
    for (std::int32_t x = -21; x <= 20; ++x)
        for (std::int32_t y = -21; y <= 20; ++y)
            for (std::int32_t z = -1; z <= 10; ++z) {
                const NeighbourCell* a = one.find(x, y, z);
                const NeighbourCell* b = sixteen.find(x, y, z);
                ASSERT_EQ(a == nullptr, b == nullptr);
                if (!a) continue;
                std::uint64_t sum = 0;
                for (int dx = -1; dx <= 1; ++dx)
                    for (int dy = -1; dy <= 1; ++dy)
                        for (int dz = -1; dz <= 1; ++dz)
                            if (const NeighbourCell* n = one.find(x + dx, y + dy, z + dz)) sum += n->count;
                EXPECT_EQ(a->neighbours, sum);
                EXPECT_EQ(b->neighbours, sum);
                ++checked;
            }
    EXPECT_EQ(checked + 1, one.size());
    EXPECT_EQ(one.find(INT32_MAX, INT32_MIN, 0)->neighbours, 7u);
}

}  // namespace
}  // namespace ovcf::test
