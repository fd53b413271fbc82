// Picking through real mouse messages: the colour pick and the cursor readout over two lone
// points, and the plane by three points clicked on a flat grid, a tilted plane, a wall and a line.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cmath>
#include <functional>
#include <string>
#include <vector>

#include "ViewInputTest.h"

namespace picking_input {
namespace {

constexpr int kWidth = 320, kHeight = 240;
constexpr double kX0 = 500000.0, kY0 = 4000000.0, kZ0 = 100.0;
enum Param { ColorMode = 1, SizeMode = 2, PixelSize = 3, Edl = 8, CubeVisible = 16, OverlayVisible = 18, Gradient = 20 };
using Rgb = std::array<uint8_t, 3>;

using ovcf::test::lastLibraryError;

uint32_t packed(const Rgb& c) { return uint32_t(c[0]) << 16 | uint32_t(c[1]) << 8 | c[2]; }

class PickingInput : public ovcf::test::ViewInputTest {
protected:
    PickingInput() : ViewInputTest("orvane_picking") {}

    // A view over the given points (x, y, z triples around kX0, kY0, kZ0), seen from `standardView`,
    // one-pixel square points, no lighting, plain background.
    void open(const std::vector<double>& xyz, const std::vector<uint32_t>& rgb, int standardView) {
        ASSERT_NO_FATAL_FAILURE(buildAndOpen(dir.file("cloud.ovcf"), xyz, rgb, kWidth, kHeight));
        for (auto [id, value] : {std::pair{Edl, 0}, {Gradient, 0}, {SizeMode, 0}, {PixelSize, 1}, {CubeVisible, 0}})
            PC_SetValue(view, id, value);
        PC_SetStandardView(view, standardView);
        render();
        events.clear();
    }

    void moveTo(int x, int y) {
        parent->sendMove(child, x, y);
        pump();
        render();
    }

    // Where the colour shows, (-1, -1) when it does not.
    static std::pair<int, int> find(const ovcf::test::InspectedPng& png, const Rgb& colour) {
        for (int y = 0; y < int(png.height); ++y)
            for (int x = 0; x < int(png.width); ++x)
                if (pixel(png, x, y) == colour) return {x, y};
        return {-1, -1};
    }
};

// Two points seen from the top: red and low near the middle, green and high far off.
class TwoPoints : public PickingInput {
protected:
    static constexpr Rgb kRed{220, 30, 40}, kGreen{20, 200, 90};
    void SetUp() override {
        ASSERT_NO_FATAL_FAILURE(open({kX0, kY0, kZ0, kX0 + 8, kY0 + 5, kZ0 + 2}, {packed(kRed), packed(kGreen)}, 0));
        std::tie(redX, redY) = find(screenshot(), kRed);
        ASSERT_GE(redX, 0) << "the red point is drawn";
    }
    int redX = -1, redY = -1;
};

TEST_F(TwoPoints, TheOnlyPointNearTheCursorIsPickedUpToTwelvePixelsAway) {
    const struct {
        int dx, dy;
        bool picked;
    } cases[] = {{0, 0, true}, {-12, 12, true}, {13, 0, false}, {0, 13, false}};  // the window's edges are the depth pick's
    for (const auto& c : cases)
        EXPECT_EQ(PC_PickColor(view, redX + c.dx, redY + c.dy), c.picked ? packed(kRed) : 0xFFFFFFFFu) << c.dx << "," << c.dy;
    EXPECT_EQ(logCount("colore prelevato: #DC1E28 con la colorazione colori reali"), 2);
    EXPECT_EQ(PC_GetColor(view, 4), 0xFFFFFFu) << "the pick leaves the colour filter's reference alone";
}

TEST_F(TwoPoints, AColourPickGivesThePixelAsDrawnInEveryMode) {
    for (int mode : {0, 1, 2, 3, 4, 5, 8, 9, 10, 11, 12, 13, 14}) {
        PC_SetValue(view, ColorMode, mode);
        const ovcf::test::InspectedPng png = screenshot();
        EXPECT_EQ(PC_PickColor(view, redX + 5, redY), packed(pixel(png, redX, redY))) << "colour mode " << mode;
    }
}

TEST_F(TwoPoints, TheReadoutFollowsTheCursorAndForgetsThePointWhenSwitchedOff) {
    // Rows of the lower half shaded by a panel at the left edge: the counts, and the readout's box
    // under them while it shows.
    const auto shadedRows = [&] {
        const ovcf::test::InspectedPng png = screenshot();
        int rows = 0;
        for (int y = kHeight / 2; y < kHeight; ++y) rows += pixel(png, 14, y) != pixel(png, 14, 40);
        return rows;
    };
    const int countsOnly = shadedRows();
    double point[3] = {0, 0, 0};
    EXPECT_EQ(PC_GetCursorPoint(view, point), 0);
    PC_SetCursorReadout(view, 1);
    PC_SetCursorReadout(view, 1);
    EXPECT_EQ(PC_CursorReadout(view), 1);
    EXPECT_EQ(logCount("coordinate sotto il cursore: accese"), 1);

    moveTo(redX + 10, redY);
    ASSERT_EQ(PC_GetCursorPoint(view, point), 1);
    EXPECT_NEAR(point[0], kX0, 0.1);
    EXPECT_NEAR(point[1], kY0, 0.1);
    EXPECT_NEAR(point[2], kZ0, 0.1);
    EXPECT_EQ(PC_GetCursorPoint(view, nullptr), 0);
    EXPECT_GT(shadedRows(), countsOnly + 20) << "the readout box is drawn";
    moveTo(redX + 20, redY);
    EXPECT_EQ(PC_GetCursorPoint(view, point), 0) << "nothing under the cursor";
    EXPECT_EQ(shadedRows(), countsOnly);

    moveTo(redX, redY);
    ASSERT_EQ(PC_GetCursorPoint(view, point), 1);
    PC_SetCursorReadout(view, 0);
    PC_SetCursorReadout(view, 0);
    EXPECT_EQ(PC_GetCursorPoint(view, point), 0) << "forgotten at once";
    EXPECT_EQ(PC_CursorReadout(view), 0);
    EXPECT_EQ(logCount("coordinate sotto il cursore: spente"), 1);
    EXPECT_TRUE(events.empty()) << "the readout sends no events";
}

// Three clicks on a surface; what the fitted plane must say.
struct PlaneCase {
    const char* name;
    std::function<double(double u, double v, int axis)> surface;  // (x, y, z) offset of grid cell (u, v)
    int standardView;
    double normal[3], inclination, azimuth, yaw, pitch;  // azimuth, yaw or pitch NAN: not checked
};

class PlaneInput : public PickingInput, public ::testing::WithParamInterface<PlaneCase> {};

TEST_P(PlaneInput, ThreeClicksTurnTheViewOntoThePlane) {
    const PlaneCase& c = GetParam();
    std::vector<double> xyz;
    for (int i = 0; i < 100; ++i)
        for (int j = 0; j < 100; ++j) {
            const double u = i * 0.1, v = j * 0.1;
            xyz.insert(xyz.end(), {kX0 + c.surface(u, v, 0), kY0 + c.surface(u, v, 1), kZ0 + c.surface(u, v, 2)});
        }
    ASSERT_NO_FATAL_FAILURE(open(xyz, {}, c.standardView));
    PC_StartPlaneByThreePoints(view);
    EXPECT_EQ(PC_PlanePickState(view), 0);
    EXPECT_EQ(logCount("vista su piano per 3 punti: armata, cliccare il primo punto"), 1);
    click(0, 100, 80);
    click(0, 220, 95);
    EXPECT_EQ(PC_PlanePickState(view), 2);
    EXPECT_TRUE(loggedStart("vista su piano: punto 2 fissato in ("));
    click(0, 150, 170);
    ASSERT_EQ(PC_PlanePickState(view), 3) << c.name;
    EXPECT_EQ(events, (std::vector<int>{PC_EVENT_TOOL_STATE_CHANGED, PC_EVENT_TOOL_STATE_CHANGED,
                                        PC_EVENT_TOOL_STATE_CHANGED, PC_EVENT_TOOL_STATE_CHANGED}));
    double plane[8] = {};
    ASSERT_EQ(PC_GetLastPlane(view, plane), 1);
    for (int a = 0; a < 3; ++a) EXPECT_NEAR(plane[a], c.normal[a], 1e-4) << c.name << " normal " << a;
    EXPECT_NEAR(plane[7], c.inclination, 1e-3) << c.name;
    EXPECT_GE(plane[6], 0.02);
    // The two result lines, read back as numbers: noise of a millionth may print as -0.0000.
    double inclination = -1, azimuth = -1, yaw = -1, pitch = -1;
    for (const std::string& line : linesStarting("vista su piano per 3 punti: inclinazione "))
        std::sscanf(line.c_str(), "vista su piano per 3 punti: inclinazione %lf gradi sull'orizzontale, massima pendenza verso %lf", &inclination, &azimuth);
    for (const std::string& line : linesStarting("  camera: imbardata "))
        std::sscanf(line.c_str(), "  camera: imbardata %lf gradi, beccheggio %lf", &yaw, &pitch);
    EXPECT_NEAR(inclination, c.inclination, 1e-3) << c.name;
    const auto near = [&](double got, double wanted, double tolerance) { return std::isnan(wanted) || std::fabs(got - wanted) <= tolerance; };
    EXPECT_TRUE(near(azimuth, c.azimuth, 0.1)) << c.name << " azimuth " << azimuth;
    EXPECT_TRUE(near(yaw, c.yaw, 1e-3)) << c.name << " yaw " << yaw;
    EXPECT_TRUE(near(pitch, c.pitch, 1e-3)) << c.name << " pitch " << pitch;
    EXPECT_EQ(PC_RemoveLastPlanePoint(view), 7);
    EXPECT_EQ(lastLibraryError(), "there is no plane point to remove");
    PC_CancelPlanePick(view);
    EXPECT_EQ(logCount("vista su piano: risultato dimenticato, la vista resta dov'e'"), 1);
    EXPECT_EQ(PC_PlanePickState(view), -1);
    EXPECT_EQ(PC_GetLastPlane(view, plane), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Surfaces, PlaneInput,
    ::testing::Values(
        PlaneCase{"flat", [](double u, double v, int a) { return a == 0 ? u : a == 1 ? v : 0.0; }, 0, {0, 0, 1}, 0.0, NAN,
                  NAN, 90.0},
        PlaneCase{"tilted", [](double u, double v, int a) { return a == 0 ? u : a == 1 ? v : 0.5 * u; }, 0,
                  {-0.4472136, 0, 0.8944272}, 26.565, 270.0, NAN, NAN},
        PlaneCase{"wall", [](double u, double v, int a) { return a == 0 ? u : a == 1 ? 0.0 : v; }, 4, {0, 1, 0}, 90.0,
                  NAN, 90.0, 0.0}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(PickingInput, CollinearPointsAreRejectedAndTheRightClickAndEscapeUndoThePick) {
    std::vector<double> xyz;
    for (int i = 0; i < 200; ++i) xyz.insert(xyz.end(), {kX0 + i * 0.05, kY0, kZ0});
    ASSERT_NO_FATAL_FAILURE(open(xyz, {}, 0));
    PC_SetValue(view, PixelSize, 3);
    render();
    EXPECT_EQ(PC_RemoveLastPlanePoint(view), 7);
    PC_StartPlaneByThreePoints(view);
    for (int x : {60, 160, 260}) click(0, x, kHeight / 2);
    EXPECT_EQ(logCount("vista su piano: i tre punti sono quasi allineati (altezza 0.0% del lato piu' lungo, ne serve almeno 2%): il piano ruoterebbe di decine di gradi per pochi centimetri"), 1);
    EXPECT_EQ(PC_PlanePickState(view), 2) << "the two points stay for a better third";
    click(0, 160, 20);
    EXPECT_EQ(logCount("vista su piano: sotto il cursore non c'e' nuvola, punto non preso"), 1);
    click(1, 160, 20);
    EXPECT_EQ(PC_PlanePickState(view), 1) << "the right click takes the last point back";
    EXPECT_EQ(logCount("vista su piano: tolto un punto, ne restano fissati 1"), 1);
    events.clear();
    parent->sendKey(child, 27);
    pump();
    EXPECT_EQ(PC_PlanePickState(view), -1);
    EXPECT_EQ(logCount("comandi annullati: vista su piano a riposo, la vista resta dov'e'"), 1);
    EXPECT_EQ(events, std::vector<int>{PC_EVENT_TOOL_STATE_CHANGED});
    PC_CancelPlanePick(view);
    EXPECT_EQ(events.size(), 1u) << "nothing left to cancel";
    EXPECT_EQ(PC_PlanePickState(nullptr), -1);
}

}  // namespace
}  // namespace picking_input
