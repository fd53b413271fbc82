// The rectangle tools through real mouse messages: the clip box drawn over a flat grid seen from
// the top, with a few stray points floating above it, and the zoom window.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "ViewInputTest.h"

namespace clip_box_input {
namespace {

constexpr int kWidth = 320, kHeight = 240;
constexpr int kGrid = 200;
constexpr double kSpacing = 0.05, kX0 = 500000.0, kY0 = 4000000.0, kZ0 = 100.0;
constexpr int kStray = 12;  // points 5 m above the grid, near its middle
constexpr int kEdlParam = 8, kGradientParam = 20;

using ovcf::test::lastLibraryError;

class ClipBoxInput : public ovcf::test::ViewInputTest {
protected:
    ClipBoxInput() : ViewInputTest("orvane_clipbox") {}

    void SetUp() override {
        std::vector<double> xyz;
        for (int i = 0; i < kGrid; ++i)
            for (int j = 0; j < kGrid; ++j) xyz.insert(xyz.end(), {kX0 + i * kSpacing, kY0 + j * kSpacing, kZ0});
        for (int k = 0; k < kStray; ++k)
            xyz.insert(xyz.end(), {kX0 + (90 + 2 * k) * kSpacing, kY0 + (95 + k) * kSpacing, kZ0 + 5.0});
        ASSERT_NO_FATAL_FAILURE(buildAndOpen(dir.file("grid.ovcf"), xyz, {}, kWidth, kHeight));
        PC_SetValue(view, kEdlParam, 0);
        PC_SetValue(view, kGradientParam, 0);
        PC_SetStandardView(view, 0);
        render();
        events.clear();
    }

    // The points a rectangle selection over (x0, y0, x1, y1) takes, as (i, j) grid cells; stray
    // points come back as (-1, k).
    std::set<std::pair<int, int>> selectedBy(int x0, int y0, int x1, int y1) {
        PC_SetSelectionTool(view, 1);
        drag(x0, y0, x1, y1);
        PC_SetSelectionTool(view, 0);
        const uint64_t count = PC_SelectedCount(view);
        EXPECT_EQ(PC_DeleteSelected(view), count);
        const int64_t n = PC_PointCount(view);
        std::vector<double> xyz(3 * n);
        std::vector<uint8_t> flags(n);
        EXPECT_EQ(PC_ReadAllPoints(view, xyz.data(), nullptr, flags.data(), n, 0, 0), n);
        std::set<std::pair<int, int>> out;
        for (int64_t k = 0; k < n; ++k) {
            if (flags[k]) continue;
            const bool stray = xyz[3 * k + 2] > kZ0 + 1;
            out.insert({stray ? -1 : int(std::lround((xyz[3 * k] - kX0) / kSpacing)),
                        int(std::lround((xyz[3 * k + 1] - kY0) / kSpacing))});
        }
        PC_UndoDeletion(view);
        PC_ClearSelection(view);
        return out;
    }
};

TEST_F(ClipBoxInput, TheBoxKeepsTheGridUnderTheRectangleAndDropsWhatFloatsAbove) {
    const int x0 = 120, y0 = 80, x1 = 215, y1 = 165;
    std::set<std::pair<int, int>> underRectangle = selectedBy(x0, y0, x1, y1);
    ASSERT_GT(std::count_if(underRectangle.begin(), underRectangle.end(), [](auto p) { return p.first < 0; }), 0)
        << "stray points lie under the rectangle";
    std::erase_if(underRectangle, [](auto p) { return p.first < 0; });

    PC_SetRectTool(view, 2);
    events.clear();
    drag(x0, y0, x1, y1);
    EXPECT_EQ(events, (std::vector<int>{PC_EVENT_CLIP_BOX_CHANGED, PC_EVENT_TOOL_STATE_CHANGED}));
    EXPECT_EQ(PC_HasClipBox(view), 1);
    EXPECT_EQ(PC_IsClipBoxActive(view), 1);
    PcViewState state{};
    PC_GetState(view, &state);
    EXPECT_EQ(state.rectTool, 0u) << "the tool works once";
    EXPECT_EQ(state.clipBoxActive, 1);

    // A selection over the whole view takes exactly the grid points under the rectangle, and the
    // read-back asked to hide what lies outside the box flags exactly the others.
    render();
    EXPECT_EQ(selectedBy(0, 0, kWidth, kHeight), underRectangle);
    const int64_t n = PC_PointCount(view);
    std::vector<double> xyz(3 * n);
    std::vector<uint8_t> flags(n);
    ASSERT_EQ(PC_ReadAllPoints(view, xyz.data(), nullptr, flags.data(), n, 0, 1), n);
    std::set<std::pair<int, int>> shown;
    for (int64_t k = 0; k < n; ++k)
        if (flags[k]) {
            ASSERT_LT(xyz[3 * k + 2], kZ0 + 1) << "a stray point is outside the box";
            shown.insert({int(std::lround((xyz[3 * k] - kX0) / kSpacing)), int(std::lround((xyz[3 * k + 1] - kY0) / kSpacing))});
        }
    EXPECT_EQ(shown, underRectangle);
    ASSERT_EQ(PC_ReadAllPoints(view, xyz.data(), nullptr, flags.data(), n, 0, 0), n);
    EXPECT_EQ(std::count(flags.begin(), flags.end(), 1), n) << "without the hide flag the box plays no part";

    // Outside the box the background shows; switched off, the cloud is back.
    const auto background = pixel(screenshot(), 2, 2);
    const int outsideX = 100, outsideY = 120;  // grid, left of the box
    EXPECT_EQ(pixel(screenshot(), outsideX, outsideY), background);
    PC_SetClipBoxActive(view, 0);
    EXPECT_EQ(PC_IsClipBoxActive(view), 0);
    EXPECT_NE(pixel(screenshot(), outsideX, outsideY), background);
    EXPECT_GT(selectedBy(0, 0, kWidth, kHeight).size(), underRectangle.size());
    PC_ClearClipBox(view);
    EXPECT_EQ(PC_HasClipBox(view), 0);
}

TEST_F(ClipBoxInput, ABandTooThinOrOverNothingBuildsNothingAndDisarms) {
    PC_SetRectTool(view, 2);
    events.clear();
    drag(100, 60, 103, 160);  // 3 x 100 pixels
    EXPECT_EQ(events, std::vector<int>{PC_EVENT_TOOL_STATE_CHANGED});
    EXPECT_EQ(PC_HasClipBox(view), 0);

    PC_SetRectTool(view, 2);
    drag(2, 2, 30, 30);  // background only
    EXPECT_TRUE(logged("scatola di ritaglio: nel rettangolo non c'e' nessun punto, ignorato"));
    EXPECT_EQ(PC_HasClipBox(view), 0);
    PcViewState state{};
    PC_GetState(view, &state);
    EXPECT_EQ(state.rectTool, 0u);

    PC_SetRectTool(view, 1);
    const std::set<std::pair<int, int>> before = selectedBy(150, 110, 170, 130);
    PC_SetRectTool(view, 1);
    drag(2, 2, 30, 30);
    EXPECT_TRUE(logged("zoom a finestra: nel rettangolo non c'e' nessun punto, ignorato"));
    EXPECT_EQ(selectedBy(150, 110, 170, 130), before) << "the camera did not move";
}

TEST_F(ClipBoxInput, TheZoomWindowBringsTheRectanglesCentreToTheViewsCentre) {
    // The grid cells under a small square around the rectangle's centre, before and after.
    const int cx = 200, cy = 90;
    const auto centreCells = [&](int x, int y) { return selectedBy(x - 2, y - 2, x + 2, y + 2); };
    const std::set<std::pair<int, int>> target = centreCells(cx, cy);
    ASSERT_FALSE(target.empty());
    PC_SetRectTool(view, 1);
    drag(cx - 40, cy - 30, cx + 40, cy + 30);
    render();
    const std::set<std::pair<int, int>> centred = centreCells(kWidth / 2, kHeight / 2);
    ASSERT_FALSE(centred.empty());
    const auto mean = [](const std::set<std::pair<int, int>>& cells) {
        double i = 0, j = 0;
        for (auto [a, b] : cells) i += a, j += b;
        return std::pair<double, double>{i / cells.size(), j / cells.size()};
    };
    EXPECT_NEAR(mean(centred).first, mean(target).first, 1.5);
    EXPECT_NEAR(mean(centred).second, mean(target).second, 1.5);
    EXPECT_LT(centred.size(), target.size()) << "closer: fewer cells under the same pixels";
}

}  // namespace
}  // namespace clip_box_input
