// The spacing filter against its rule worked out here with plain integer arithmetic: per cell of
// the chosen spacing the point nearest the cell's centre (ties to the lowest index) stays
// unselected, every other point in the shape is selected, whatever the number of workers.
#include <climits>
#include <map>
#include <random>

#include "SelectionTestCloud.h"
#include "core/NumberFormat.h"
#include "selection/FilterFactory.h"
#include "selection/SpacingFilter.h"

namespace ovcf::test {
namespace {

struct Thinned {
    std::set<std::uint64_t> selected;
    std::size_t cells = 0;
    std::uint64_t inShape = 0;
};

Thinned thin(const std::vector<PointRecord>& points, const std::vector<bool>& in, std::int64_t n) {
    std::map<std::array<std::int64_t, 3>, std::pair<float, std::uint64_t>> kept;
    Thinned out;
    for (std::uint64_t g = 0; g < points.size(); ++g) {
        if (!in[g]) continue;
        ++out.inShape;
        const std::int64_t q[3] = {std::int32_t(points[g].x), std::int32_t(points[g].y), std::int32_t(points[g].z)};
        std::array<std::int64_t, 3> cell;
        std::int64_t squared = 0;
        for (int a = 0; a < 3; ++a) {
            cell[a] = floorDiv(q[a], n);
            squared += (q[a] - cell[a] * n - n / 2) * (q[a] - cell[a] * n - n / 2);
        }
        const auto [at, fresh] = kept.emplace(cell, std::make_pair(float(squared), g));
        if (!fresh && float(squared) < at->second.first) at->second = {float(squared), g};
    }
    std::set<std::uint64_t> keep;
    for (const auto& [cell, best] : kept) keep.insert(best.second);
    for (std::uint64_t g = 0; g < points.size(); ++g)
        if (in[g] && !keep.count(g)) out.selected.insert(g);
    out.cells = kept.size();
    return out;
}

using SpacingFilterTest = FilterCloudTest;

TEST_F(SpacingFilterTest, KeepsThePointNearestEachCellCentreAndSelectsTheRest) {
    struct Case {
        double spacing;
        std::int64_t edge;  // 1 mm units
        bool whole;
        int readers;
    };
    const Case cases[] = {{0.3, 300, true, 1}, {0.3, 300, true, 16}, {1.0, 1000, false, 1}, {1.0, 1000, false, 16},
                          // Finer than the quantisation: cells of one unit, only repeated points go.
                          {0.0004, 1, true, 16}, {2.4996, 2500, false, 2}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.spacing);
        const ScreenShape shape = c.whole ? rectangleShape(0, 0, kWidth, kHeight) : circleShape(200, 150, 90);
        const std::vector<bool> in = insideAll(shape);
        const Thinned want = thin(points, in, c.edge);
        ASSERT_GT(want.selected.size(), 0u);

        SpacingFilter filter(c.spacing, reader.header());
        EXPECT_EQ(filter.edge(0), c.edge);
        LogCapture log;
        const SelectionReport report = run(shape, filter, c.readers);
        EXPECT_EQ(selected(), want.selected);
        EXPECT_EQ(report.inShape, want.inShape);
        EXPECT_EQ(report.filterKept, want.cells);
        EXPECT_EQ(report.filterCells, want.cells);

        char line[300];
        std::snprintf(line, sizeof line, "  diradamento a %.3f m: %s punti nella sagoma, %s tenuti, %s selezionati da eliminare (%.1f%%), %s celle",
                      c.spacing, formatCount(want.inShape).c_str(), formatCount(want.cells).c_str(),
                      formatCount(want.selected.size()).c_str(), want.selected.size() * 100.0 / want.inShape,
                      formatCount(want.cells).c_str());
        EXPECT_EQ(log.count(LogInfo, line), 1) << line;
    }
}

TEST(SpacingFilterSettings, ASpacingOfZeroOrLessTurnsTheFilterOff) {
    FileHeader header;
    header.step[0] = header.step[1] = header.step[2] = 0.001;
    FilterContext context;
    context.header = &header;
    SelectionSettings settings;
    settings.filter = 1;
    for (double spacing : {0.0, -0.5}) {
        settings.spacing = spacing;
        EXPECT_EQ(makeSelectionFilter(settings, context), nullptr) << spacing;
    }
    settings.spacing = 0.05;
    EXPECT_NE(makeSelectionFilter(settings, context), nullptr);
}

TEST(SpacingCellBuffer, FoldsAPartitionToTheNearestPointOfEachCellAndDrainsItWhole) {
    // 100,000 points over 3,000 cells that all fall in partition 7, which is folded again and again
    // into the chunks it already has; and three cells of other partitions.
    std::vector<std::int32_t> xs;
    for (std::int32_t x = 0; xs.size() < 3000; ++x)
        if (SpacingCellBuffer::partitionOf(cellHash(x, -x, 2)) == 7) xs.push_back(x);
    SpacingCellBuffer buffer;
    std::map<std::array<std::int32_t, 3>, std::pair<float, std::uint64_t>> nearest;
    const auto add = [&](std::int32_t x, std::int32_t y, std::int32_t z, float distance, std::uint64_t index) {
        buffer.add(cellHash(x, y, z), SpacingCell::make(x, y, z, distance, index));
        const auto [at, fresh] = nearest.emplace(std::array{x, y, z}, std::make_pair(distance, index));
        if (!fresh && std::make_pair(distance, index) < at->second) at->second = {distance, index};
    };
    for (std::uint64_t i = 0; i < 100000; ++i) {
        const std::int32_t x = xs[i * 7 % xs.size()];
        add(x, -x, 2, float(i * 7919 % 1000), i);
        if (i % 40000 == 0) add(-1, std::int32_t(i), 0, 1.0f, 1000000 + i);
    }
    buffer.flushRecent();
    EXPECT_LE(buffer.size(), 2 * xs.size() + 3);
    std::map<std::array<std::int32_t, 3>, std::pair<float, std::uint64_t>> drained;
    for (std::size_t p = 0; p < SpacingCellBuffer::kPartitions; ++p)
        buffer.drain(p, [&](const SpacingCell* run, std::size_t n) {
            for (std::size_t i = 0; i < n; ++i) {
                EXPECT_EQ(SpacingCellBuffer::partitionOf(cellHash(run[i].x, run[i].y, run[i].z)), p);
                const std::pair<float, std::uint64_t> point{run[i].distance, run[i].index()};
                const auto [at, fresh] = drained.emplace(std::array{run[i].x, run[i].y, run[i].z}, point);
                if (!fresh && point < at->second) at->second = point;
            }
        });
    EXPECT_EQ(drained, nearest);
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(SpacingFilterMerge, WorkersCellsMergeToTheNearestPointOfEveryCellOnAnyNumberOfThreads) {
    // 400,000 points over about 250,000 cells of 10 units, with repeated points whose tie goes to
    // the lower index, handed to the workers in a shuffled order.
    FileHeader header;
    header.step[0] = header.step[1] = header.step[2] = 0.001;
    std::mt19937 random(5);
    std::vector<PointRecord> points(400000);
    for (std::size_t g = 0; g < points.size(); ++g) {
        if (g % 9 == 5) {
            points[g] = points[g / 2];
            continue;
        }
        points[g].x = std::uint32_t(random() % 6300) - 3000u;
        points[g].y = std::uint32_t(random() % 6300);
        points[g].z = std::uint32_t(random() % 63);
    }
    std::vector<bool> in(points.size(), true);
    const Thinned want = thin(points, in, 10);
    std::set<std::uint64_t> keep;
    for (std::uint64_t g = 0; g < points.size(); ++g)
        if (!want.selected.count(g)) keep.insert(g);
    std::vector<std::uint64_t> order(points.size());
    for (std::uint64_t g = 0; g < order.size(); ++g) order[g] = g;
    std::shuffle(order.begin(), order.end(), random);

    for (unsigned workers : {1u, 3u, 16u}) {
        SpacingFilter filter(0.01, header);
        filter.prepare(workers, nullptr);
        for (std::size_t i = 0; i < order.size(); ++i) filter.collect(unsigned(i % workers), points[order[i]], order[i], Vec3d{});
        DroppedPoints drop(0, (points.size() + 63) / 64);
        filter.finish(drop);
        std::set<std::uint64_t> marked;
        for (std::uint64_t g = 0; g < points.size(); ++g)
            if (drop.word(g >> 6) >> (g & 63) & 1) marked.insert(g);
        EXPECT_EQ(marked, keep) << workers;
        SelectionReport report;
        filter.fillReport(report);
        EXPECT_EQ(report.filterKept, want.cells) << workers;
    }
}

TEST(CellGrid, TableCapacityCellEdgesAndFloorDivision) {
    const std::pair<std::size_t, std::size_t> capacities[] = {{0, 64}, {38, 64}, {39, 128}, {76, 128}, {77, 256}, {1000, 2048}};
    for (const auto& [entries, capacity] : capacities) EXPECT_EQ(cellTableCapacity(entries), capacity) << entries;
    SpacingGrid grid;
    for (std::int32_t i = 0; i < 1000; ++i) grid.add(cellHash(i, 0, 0), SpacingCell::make(i, 0, 0, 0.0f, std::uint64_t(i)));
    EXPECT_EQ(grid.size(), 1000u);
    EXPECT_EQ(grid.capacity(), 2048u);

    EXPECT_EQ(cellEdge(0.05, 0.001, kSpacingEdgeMax), 50);
    EXPECT_EQ(cellEdge(0.0004, 0.001, kSpacingEdgeMax), 1);
    EXPECT_EQ(cellEdge(0.05, 0.0, kSpacingEdgeMax), 1);
    EXPECT_EQ(cellEdge(1e9, 1e-4, kSpacingEdgeMax), kSpacingEdgeMax);
    EXPECT_EQ(cellEdge(1e9, 1e-4, kIsolatedEdgeMax), kIsolatedEdgeMax);

    const std::int32_t values[] = {INT32_MIN, INT32_MIN + 1, -1000001, -7, -6, -1, 0, 1, 5, 6, 999999, INT32_MAX};
    for (std::int64_t n : {std::int64_t{1}, std::int64_t{3}, std::int64_t{6}, std::int64_t{1000}, kIsolatedEdgeMax, kSpacingEdgeMax}) {
        const FloorDivider divide(n);
        for (std::int32_t q : values) EXPECT_EQ(divide(q), floorDiv(q, n)) << q << " / " << n;
    }
}

}  // namespace
}  // namespace ovcf::test
