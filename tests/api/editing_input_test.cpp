// A whole edit through the exported interface and real window messages: shapes drawn with the
// mouse over a flat grid seen from the top, deletion with undo, confirming into the file and
// reading the points back.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "ViewInputTest.h"

namespace editing_input {
namespace {

constexpr int kWidth = 320;
constexpr int kHeight = 240;
constexpr int kGrid = 400;  // 160.000 points: more than the smallest point budget can show
constexpr double kSpacing = 0.015;
constexpr double kX0 = 500000.0, kY0 = 4000000.0, kZ0 = 100.0;
constexpr int kPointBudgetParam = 13;

using ovcf::test::lastLibraryError;

std::string grouped(uint64_t n) {
    std::string digits = std::to_string(n), out;
    for (size_t i = 0; i < digits.size(); ++i) {
        if (i > 0 && (digits.size() - i) % 3 == 0) out += '.';
        out += digits[i];
    }
    return out;
}

struct GridPoint {
    int i, j;
};
using PointSet = std::set<std::pair<int, int>>;

uint32_t gridColour(int i, int j) { return static_cast<uint32_t>((i % 256) << 16 | (j % 256) << 8 | 77); }

// The grid's points as a host holds them, with `skip` left out.
void gridCloud(std::vector<double>& xyz, std::vector<uint32_t>& rgb, const PointSet& skip = {}) {
    xyz.clear();
    rgb.clear();
    for (int i = 0; i < kGrid; ++i)
        for (int j = 0; j < kGrid; ++j) {
            if (skip.count({i, j})) continue;
            xyz.insert(xyz.end(), {kX0 + i * kSpacing, kY0 + j * kSpacing, kZ0});
            rgb.push_back(gridColour(i, j));
        }
}

// Which scales (pixels per metre) agree with what was seen, narrowed constraint by constraint.
struct ScaleRange {
    double lo = 0.0, hi = 1e12;
    // s * a must be >= b (inside) or < b (outside) for the point to be where it was found.
    void atLeast(double a, double b) { a > 0 ? lo = std::max(lo, b / a) : hi = std::min(hi, b / a); }
    void below(double a, double b) { a > 0 ? hi = std::min(hi, b / a) : lo = std::max(lo, b / a); }
    bool consistent() const { return lo > 0.0 && lo <= hi; }
};

class EditingInput : public ovcf::test::ViewInputTest {
protected:
    EditingInput() : ViewInputTest("orvane_editing") {}

    void SetUp() override {
        cache = dir.file("grid.ovcf");
        std::vector<double> xyz;
        std::vector<uint32_t> rgb;
        gridCloud(xyz, rgb);
        ASSERT_NO_FATAL_FAILURE(buildAndOpen(cache, xyz, rgb, kWidth, kHeight));
        afterOpening();
    }

    void openGrid() {
        ASSERT_EQ(PC_OpenFile(view, cache.c_str()), PC_OK) << lastLibraryError();
        afterOpening();
    }
    void afterOpening() {
        PC_SetValue(view, kPointBudgetParam, 100000);  // the picture shows only part of the points
        PC_SetStandardView(view, 0);                    // from the top: the grid maps to pixels by one scale
        render(200);
        events.clear();
    }

    void key(int virtualKey) {
        parent->sendKey(child, virtualKey);
        pump();
    }
    PcViewState state() {
        PcViewState s{};
        EXPECT_EQ(PC_GetState(view, &s), PC_OK);
        return s;
    }

    // The selected points, found by deleting them and reading the hide flags back; the deletion
    // is undone, which selects them again.
    PointSet selectedPoints() {
        const uint64_t count = PC_SelectedCount(view);
        EXPECT_EQ(PC_DeleteSelected(view), count);
        std::vector<double> xyz(3 * kGrid * kGrid);
        std::vector<uint8_t> flags(kGrid * kGrid);
        EXPECT_EQ(PC_ReadAllPoints(view, xyz.data(), nullptr, flags.data(), kGrid * kGrid, 0, 0), kGrid * kGrid)
            << lastLibraryError();
        PointSet hidden;
        for (size_t k = 0; k < flags.size(); ++k)
            if (!flags[k])
                hidden.insert({static_cast<int>(std::lround((xyz[3 * k] - kX0) / kSpacing)),
                               static_cast<int>(std::lround((xyz[3 * k + 1] - kY0) / kSpacing))});
        EXPECT_EQ(PC_UndoDeletion(view), count);
        EXPECT_EQ(hidden.size(), count);
        return hidden;
    }

    // Window position of grid point (i, j) from the top at `scale` pixels per metre: the cloud's
    // centre is the view's centre, +X to the right and +Y up.
    static void project(int i, int j, double scale, double& x, double& y) {
        x = kWidth / 2.0 + scale * (i - (kGrid - 1) / 2.0) * kSpacing;
        y = kHeight / 2.0 - scale * (j - (kGrid - 1) / 2.0) * kSpacing;
    }

    std::string cache;
};

// The rectangle's block of grid points tells the scale; a shape then selects exactly the points
// that fall inside it at every scale the rectangle allows, and none that fall outside.
TEST_F(EditingInput, ShapesDrawnWithTheMouseSelectExactlyTheGridPointsInside) {
    PC_SetSelectionTool(view, 1);
    const int left = 100, top = 70, right = 230, bottom = 160;
    drag(right, bottom, left, top);  // corners in any order
    const PointSet rect = selectedPoints();
    ASSERT_FALSE(rect.empty());
    int i0 = kGrid, i1 = -1, j0 = kGrid, j1 = -1;
    for (auto [i, j] : rect) i0 = std::min(i0, i), i1 = std::max(i1, i), j0 = std::min(j0, j), j1 = std::max(j1, j);
    ASSERT_GT(i0, 0);
    ASSERT_LT(i1, kGrid - 1);
    ASSERT_GT(j0, 0);
    ASSERT_LT(j1, kGrid - 1);
    EXPECT_EQ(rect.size(), static_cast<size_t>((i1 - i0 + 1) * (j1 - j0 + 1))) << "a full-resolution block";

    // Edges included: the outermost columns and rows are inside, their neighbours outside.
    ScaleRange scale;
    const auto dx = [](int i) { return (i - (kGrid - 1) / 2.0) * kSpacing; };
    scale.atLeast(dx(i0), left - kWidth / 2.0);
    scale.below(dx(i0 - 1), left - kWidth / 2.0);
    scale.below(dx(i1), right - kWidth / 2.0 + 1e-9);
    scale.atLeast(dx(i1 + 1), right - kWidth / 2.0 + 1e-9);
    scale.below(dx(j1), kHeight / 2.0 - top + 1e-9);
    scale.atLeast(dx(j1 + 1), kHeight / 2.0 - top + 1e-9);
    scale.atLeast(dx(j0), kHeight / 2.0 - bottom);
    scale.below(dx(j0 - 1), kHeight / 2.0 - bottom);
    ASSERT_TRUE(scale.consistent()) << scale.lo << " " << scale.hi;

    const auto checkShape = [&](const char* what, const PointSet& got, auto inside) {
        size_t uncertain = 0;
        for (int i = 0; i < kGrid; ++i)
            for (int j = 0; j < kGrid; ++j) {
                double xl, yl, xh, yh;
                project(i, j, scale.lo, xl, yl);
                project(i, j, scale.hi, xh, yh);
                const bool inLo = inside(xl, yl), inHi = inside(xh, yh);
                if (inLo != inHi) {
                    ++uncertain;
                    continue;
                }
                ASSERT_EQ(got.count({i, j}) == 1, inLo) << what << " point " << i << "," << j;
            }
        EXPECT_LT(uncertain, got.size() / 20) << what << ": the rectangle pins the scale down";
    };

    PC_SetSelectionTool(view, 2);
    const double cx = 170, cy = 110, rx = 170 + 36, ry = 110 + 48;  // radius 60
    drag(static_cast<int>(cx), static_cast<int>(cy), static_cast<int>(rx), static_cast<int>(ry));
    const PointSet circle = selectedPoints();
    checkShape("circle", circle, [&](double x, double y) { return (x - cx) * (x - cx) + (y - cy) * (y - cy) <= 3600.0; });

    PC_SetSelectionTool(view, 3);
    const double tri[3][2] = {{120, 80}, {220, 100}, {150, 170}};
    for (const auto& v : tri) click(0, static_cast<int>(v[0]), static_cast<int>(v[1]));
    EXPECT_EQ(state().polygonVertexCount, 3u);
    key(13);
    EXPECT_EQ(state().polygonVertexCount, 0u);
    const PointSet polygon = selectedPoints();
    checkShape("polygon", polygon, [&](double x, double y) {
        bool in = false;
        for (int a = 0, b = 2; a < 3; b = a++)
            if ((tri[a][1] > y) != (tri[b][1] > y) &&
                x < (y - tri[a][1]) / (tri[b][1] - tri[a][1]) * (tri[b][0] - tri[a][0]) + tri[a][0])
                in = !in;
        return in;
    });
    EXPECT_EQ(state().lastSelectionFound, polygon.size());
    EXPECT_EQ(PC_GetSelectionTool(view), 3) << "the tool stays armed";
}

TEST_F(EditingInput, CombineModesAddAndSubtract) {
    PC_SetSelectionTool(view, 1);
    drag(100, 80, 150, 120);
    const uint64_t a = PC_SelectedCount(view);
    ASSERT_GT(a, 0u);
    EXPECT_EQ(events.back(), PC_EVENT_SELECTION_CHANGED);
    PC_SetCombineMode(view, 1);
    drag(180, 130, 220, 170);
    const uint64_t ab = PC_SelectedCount(view);
    EXPECT_GT(ab, a);
    PC_SetCombineMode(view, 2);
    drag(100, 80, 150, 120);
    EXPECT_EQ(PC_SelectedCount(view), ab - a);
    EXPECT_EQ(PC_GetSelectionTool(view), 1);
}

TEST_F(EditingInput, PolygonVerticesRightClickAndTooFewOnEnter) {
    PC_SetSelectionTool(view, 3);
    events.clear();
    click(0, 100, 100);
    click(0, 200, 100);
    click(0, 150, 180);
    click(1, 150, 180);  // a right click takes the last vertex back
    EXPECT_EQ(state().polygonVertexCount, 2u);
    EXPECT_EQ(std::count(events.begin(), events.end(), PC_EVENT_TOOL_STATE_CHANGED), 4);
    key(13);
    EXPECT_EQ(state().polygonVertexCount, 0u);
    EXPECT_EQ(PC_SelectedCount(view), 0u);
    click(0, 120, 120);
    EXPECT_EQ(state().polygonVertexCount, 1u);
    EXPECT_EQ(PC_ConfirmPolygon(view), PC_WRONG_STATE);
    EXPECT_EQ(lastLibraryError(), "the polygon needs at least three vertices");
    EXPECT_EQ(PC_RemoveLastVertex(view), PC_WRONG_STATE);
    EXPECT_EQ(lastLibraryError(), "there is no vertex to remove");
}

// With the polygon tool armed a drag on the navigation cube orbits the view while the button is
// down only, and a polygon thrown away by Escape, by arming another tool or by too few vertices
// tells the host and leaves the selection as it was.
TEST_F(EditingInput, TheCubeOrbitsOnlyWhileDraggedAndADiscardedPolygonTellsTheHost) {
    const int cubeX = kWidth - 40, cubeY = 40;  // the cube's square is 80 pixels here, top right
    PC_SetSelectionTool(view, 3);
    drag(cubeX, cubeY, cubeX + 8, cubeY + 3);
    EXPECT_EQ(state().polygonVertexCount, 0u) << "the press on the cube made a vertex";
    parent->sendLeave(child);
    pump();
    const std::vector<std::uint8_t> released = screenshot().raw;
    parent->sendMove(child, 60, 200);
    parent->sendMove(child, 200, 60);
    parent->sendLeave(child);
    pump();
    EXPECT_EQ(screenshot().raw == released, true) << "the view still orbits after the button came up";

    PC_SetSelectionTool(view, 1);
    drag(60, 40, 260, 200);
    const uint64_t selected = PC_SelectedCount(view);
    ASSERT_GT(selected, 1000u);
    for (const auto& discard : std::vector<std::function<void()>>{
             [&] { key(27); }, [&] { PC_SetRectTool(view, 2); }, [&] { PC_SetSelectionTool(view, 1); },
             [&] { key(13); }, [&] { EXPECT_EQ(PC_ConfirmPolygon(view), PC_WRONG_STATE); }}) {
        PC_SetSelectionTool(view, 3);
        click(0, 100, 100);
        click(0, 140, 180);
        events.clear();
        discard();
        EXPECT_EQ(events, std::vector<int>{PC_EVENT_TOOL_STATE_CHANGED});
        EXPECT_EQ(lastState.polygonVertexCount, 0u);
        EXPECT_EQ(PC_SelectedCount(view), selected);
    }
}

TEST_F(EditingInput, DeleteUndoAndRestoreKeepCountsFlagsAndEvents) {
    EXPECT_EQ(PC_DeleteSelected(view), 0u);
    EXPECT_TRUE(logged("nessun punto selezionato: niente da eliminare"));
    EXPECT_EQ(PC_HasUnsavedChanges(view), 0);

    PC_SetSelectionTool(view, 1);
    drag(100, 80, 200, 160);
    const uint64_t a = PC_SelectedCount(view);
    events.clear();
    EXPECT_EQ(PC_DeleteSelected(view), a);
    EXPECT_EQ(events, (std::vector<int>{PC_EVENT_DELETIONS_CHANGED}));
    EXPECT_EQ(PC_DeletedCount(view), a);
    EXPECT_EQ(PC_SurvivingCount(view), uint64_t{kGrid} * kGrid - a);
    EXPECT_EQ(PC_SelectedCount(view), 0u);
    EXPECT_EQ(PC_HasUnsavedChanges(view), 1);
    EXPECT_EQ(lastState.canUndo, 1);

    // Selecting over deleted points finds them again; deleting those deletes nothing new.
    drag(120, 100, 140, 120);
    const uint64_t inner = PC_SelectedCount(view);
    ASSERT_GT(inner, 0u);
    EXPECT_EQ(PC_DeleteSelected(view), 0u);
    EXPECT_EQ(PC_DeletedCount(view), a);

    // Undo brings back only what is still deleted, and selects all of the deletion again.
    EXPECT_EQ(PC_UndoDeletion(view), inner);
    EXPECT_EQ(PC_DeletedCount(view), a - inner);
    EXPECT_EQ(PC_UndoDeletion(view), a - inner);
    EXPECT_EQ(PC_SelectedCount(view), a);
    EXPECT_EQ(PC_DeletedCount(view), 0u);
    EXPECT_EQ(PC_UndoDeletion(view), 0u);
    EXPECT_TRUE(logged("non c'e' nessuna cancellazione da annullare"));

    PC_DeleteSelected(view);
    events.clear();
    EXPECT_EQ(PC_RestoreAllDeleted(view), a);
    EXPECT_EQ(events, (std::vector<int>{PC_EVENT_DELETIONS_CHANGED, PC_EVENT_FILE_STATE_CHANGED}));
    EXPECT_EQ(PC_UndoDeletion(view), 0u) << "restoring drops the undo records";
    EXPECT_EQ(PC_RestoreAllDeleted(view), 0u);
    EXPECT_TRUE(logged("non c'e' nessun punto cancellato da ripristinare"));
}

TEST_F(EditingInput, ConfirmedDeletionsReachTheFileAndTheCacheStillMatchesTheHost) {
    PC_SetSelectionTool(view, 2);
    drag(160, 120, 190, 150);
    const PointSet gone = selectedPoints();
    const uint64_t k = PC_DeleteSelected(view);
    ASSERT_EQ(k, gone.size());
    events.clear();
    ASSERT_EQ(PC_ConfirmChanges(view), PC_OK) << lastLibraryError();
    EXPECT_EQ(events, std::vector<int>{PC_EVENT_FILE_STATE_CHANGED});
    EXPECT_EQ(PC_HasUnsavedChanges(view), 0);
    EXPECT_EQ(PC_UndoDeletion(view), 0u) << "confirming drops the undo records";

    EXPECT_EQ(PC_ConfirmChanges(view), PC_OK);  // that the file is then left alone is the history's own test
    EXPECT_TRUE(logged("nessuna modifica da confermare: il file e' gia' aggiornato"));

    // The host removes the same points from its own cloud: the cache matches it again.
    std::vector<double> xyz;
    std::vector<uint32_t> rgb;
    gridCloud(xyz, rgb, gone);
    uint64_t signature = 0;
    ASSERT_EQ(PC_ComputeSignature(cache.c_str(), xyz.data(), rgb.data(), static_cast<int64_t>(rgb.size()), &signature),
              PC_OK);
    EXPECT_EQ(PC_CheckCache(cache.c_str(), static_cast<int64_t>(rgb.size()), signature), PC_CACHE_MATCHES) << lastLibraryError();

    openGrid();  // reopening shows the confirmed deletions
    EXPECT_EQ(PC_DeletedCount(view), k);
    EXPECT_EQ(PC_HasUnsavedChanges(view), 0);
}

TEST_F(EditingInput, ACacheRebuiltUnderTheViewIsNeverWrittenWithItsDeletions) {
    PC_SetSelectionTool(view, 2);
    drag(160, 120, 190, 150);
    const uint64_t k = PC_DeleteSelected(view);
    ASSERT_GT(k, 0u);
    // The host rebuilds the cache at the same path from a cloud moved 5 m up.
    std::vector<double> xyz;
    std::vector<uint32_t> rgb;
    gridCloud(xyz, rgb);
    for (std::size_t i = 2; i < xyz.size(); i += 3) xyz[i] += 5.0;
    ASSERT_EQ(PC_BuildCacheFromMemory(cache.c_str(), xyz.data(), rgb.data(), static_cast<int64_t>(rgb.size()), 0.001,
                                      nullptr, nullptr), PC_OK) << lastLibraryError();
    const auto readAll = [&] {
        std::ifstream in(std::filesystem::u8path(cache), std::ios::binary);
        return std::vector<char>(std::istreambuf_iterator<char>(in), {});
    };
    const std::vector<char> rebuilt = readAll();

    EXPECT_EQ(PC_ConfirmChanges(view), PC_FAILED);
    EXPECT_EQ(lastLibraryError(), "the file was replaced since it was opened: reopen it");
    EXPECT_TRUE(readAll() == rebuilt) << "the new cache was written";
    EXPECT_EQ(PC_HasUnsavedChanges(view), 1);
    // The survivors still come from the file the view shows; the deletion can still be undone.
    std::vector<double> out(3 * rgb.size());
    EXPECT_EQ(PC_ReadSurvivingPoints(view, out.data(), nullptr, static_cast<int64_t>(rgb.size()), 0),
              static_cast<int64_t>(rgb.size() - k));
    EXPECT_DOUBLE_EQ(out[2], kZ0);
    EXPECT_EQ(PC_UndoDeletion(view), k);
}

TEST_F(EditingInput, ReadingBackChecksTheCapacityAndSortsWholePoints) {
    const int64_t n = int64_t{kGrid} * kGrid;
    std::vector<double> xyz(3 * n);
    std::vector<uint32_t> rgb(n);
    std::vector<uint8_t> flags(n);
    EXPECT_EQ(PC_ReadAllPoints(view, xyz.data(), rgb.data(), flags.data(), n - 1, 0, 0), -1);
    EXPECT_EQ(lastLibraryError(), "the buffer holds " + std::to_string(n - 1) + " points but the cloud has " + std::to_string(n) +
                               ": resize it first");
    EXPECT_EQ(PC_ReadAllPoints(view, nullptr, rgb.data(), flags.data(), n, 0, 0), -1);
    EXPECT_EQ(lastLibraryError(), "invalid output buffer");

    PC_SetSelectionTool(view, 1);
    drag(100, 80, 200, 160);
    const int64_t k = static_cast<int64_t>(PC_DeleteSelected(view));
    ASSERT_GT(k, 0);
    EXPECT_EQ(PC_ReadSurvivingPoints(view, xyz.data(), rgb.data(), n - k - 1, 0), -1);
    ASSERT_EQ(PC_ReadSurvivingPoints(view, xyz.data(), rgb.data(), n - k, 1), n - k);
    for (int64_t p = 0; p < n - k; ++p) {
        const int i = static_cast<int>(std::lround((xyz[3 * p] - kX0) / kSpacing));
        const int j = static_cast<int>(std::lround((xyz[3 * p + 1] - kY0) / kSpacing));
        ASSERT_EQ(rgb[p], gridColour(i, j)) << "point " << p << " keeps its colour";
    }
    ASSERT_EQ(PC_ReadAllPoints(view, xyz.data(), nullptr, nullptr, n, 0, 0), n);
    EXPECT_TRUE(loggedStart("punti restituiti a Orvane: " + grouped(n) + ", di cui 0 da nascondere (cancellati), in "))
        << "without flags nothing counts as hidden";
    ASSERT_EQ(PC_ReadAllPoints(view, xyz.data(), rgb.data(), flags.data(), n, 0, 0), n);
    EXPECT_EQ(std::count(flags.begin(), flags.end(), 0), k);
}

}  // namespace
}  // namespace editing_input
