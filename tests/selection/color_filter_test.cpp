// The colour filter against CIELAB and CIE76 computed here from their definitions: the selected
// points are exactly those whose displayed colour lies within the tolerance of the target, in
// every colour mode, with and without lightness, on 1 and 16 workers.
#include <cmath>
#include <cstdio>
#include <random>

#include "SelectionTestCloud.h"
#include "cloud/PointColors.h"
#include "core/NumberFormat.h"
#include "selection/CieLab.h"
#include "selection/ColorFilter.h"

namespace ovcf::test {
namespace {

struct LabRef {
    double l, a, b;
};

// Straight from the definitions: sRGB companding, the D65 matrix and white, the CIELAB curve.
LabRef referenceLab(std::uint32_t rgb) {
    double c[3];
    for (int k = 0; k < 3; ++k) {
        const double v = ((rgb >> (16 - 8 * k)) & 255) / 255.0;
        c[k] = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    }
    const double xyz[3] = {(0.4124564 * c[0] + 0.3575761 * c[1] + 0.1804375 * c[2]) / 0.95047,
                           0.2126729 * c[0] + 0.7151522 * c[1] + 0.072175 * c[2],
                           (0.0193339 * c[0] + 0.119192 * c[1] + 0.9503041 * c[2]) / 1.08883};
    double f[3];
    for (int k = 0; k < 3; ++k)
        f[k] = xyz[k] > 216.0 / 24389.0 ? std::cbrt(xyz[k]) : xyz[k] * (24389.0 / 27.0) / 116.0 + 16.0 / 116.0;
    return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

double referenceDeltaE(std::uint32_t x, std::uint32_t y, bool ignoreLightness) {
    const LabRef p = referenceLab(x), q = referenceLab(y);
    return std::sqrt((p.a - q.a) * (p.a - q.a) + (p.b - q.b) * (p.b - q.b) +
                     (ignoreLightness ? 0.0 : (p.l - q.l) * (p.l - q.l)));
}

TEST(CieLabTest, PublishedValuesOfPrimariesAndWhite) {
    const struct {
        std::uint32_t rgb;
        double l, a, b;
    } cases[] = {{0xFFFFFF, 100.0, 0.0, 0.0},      {0x000000, 0.0, 0.0, 0.0},         {0xFF0000, 53.24, 80.09, 67.20},
                 {0x00FF00, 87.73, -86.18, 83.18}, {0x0000FF, 32.30, 79.19, -107.86}, {0x808080, 53.59, 0.0, 0.0}};
    for (const auto& c : cases) {
        const Lab lab = srgbToLab(c.rgb);
        EXPECT_NEAR(lab.l, c.l, 0.01) << std::hex << c.rgb;
        EXPECT_NEAR(lab.a, c.a, 0.01) << std::hex << c.rgb;
        EXPECT_NEAR(lab.b, c.b, 0.01) << std::hex << c.rgb;
    }
}

class ColorFilterTest : public ChosenPointsTest {
protected:
    static constexpr std::uint32_t kTarget = 0x5A8C3C;

    void SetUp() override {
        std::mt19937 random(11);
        std::vector<PointRecord> chosen;
        for (int i = 0; i < 3000; ++i) {
            PointRecord p = pointAt(1 + (i % 60) * 0.9, 1 + (i / 60) * 1.1, 20 + std::uniform_real_distribution<double>(0, 8)(random));
            std::uint32_t rgb = random() & 0xFFFFFF;
            if (i % 10 == 0) rgb = kTarget;                          // the target itself
            if (i % 10 == 1) rgb = kTarget + 0x020102 * (i % 5);     // just beside it
            if (i % 10 == 2) rgb = 0x010101 * static_cast<std::uint32_t>(i / 10 % 256);  // greys
            p.red = static_cast<std::uint8_t>(rgb >> 16);
            p.green = static_cast<std::uint8_t>(rgb >> 8);
            p.blue = static_cast<std::uint8_t>(rgb);
            p.intensity = static_cast<std::uint16_t>(random());
            p.classification = static_cast<std::uint8_t>(i % 10);
            chosen.push_back(p);
        }
        makeCloud(chosen);
        low = high = cloud.front().local.z;
        for (const ReadPoint& p : cloud) {
            low = std::min(low, p.local.z);
            high = std::max(high, p.local.z);
        }
    }

    PointColoring coloring(std::uint32_t mode) const {
        RenderSettings render;
        render.colorMode = mode;
        render.monochromeColor = {0.2f, 0.6f, 0.3f};
        return pointColoring(render, low, high, PointFormatXyzRgbIntensityClass);
    }

    std::set<std::uint64_t> expected(std::uint32_t mode, std::uint32_t target, double tolerance, bool ignoreLightness) const {
        const PointColoring c = coloring(mode);
        return predicted([&](const ReadPoint& p) {
            return referenceDeltaE(displayedColor(c, p.record, p.local.z, p.level), target, ignoreLightness) <= tolerance;
        });
    }

    double low = 0, high = 0;
};

TEST_F(ColorFilterTest, SelectsThePointsWithinTheToleranceInEveryModeOnAnyWorkerCount) {
    const struct {
        std::uint32_t mode;
        std::uint32_t target;
        double tolerance;
        bool ignoreLightness;
    } cases[] = {{0, kTarget, 8, false},  {0, kTarget, 0, false},   {0, kTarget, 25, true},  {2, 0x4CBF4C, 6, false},
                 {3, 0x7F7F7F, 4, false}, {4, 0xA573C3, 10, false}, {9, 0xFF5500, 20, false}, {10, 0x606060, 3, false},
                 {11, 0x505050, 2, false}, {12, 0xB0B0B0, 5, false}, {13, 0x8C6640, 1, false}, {8, 0x303030, 0.5, false},
                 // A grey target without lightness takes greys of every brightness, with it only its own.
                 {0, 0x808080, 0.5, true}, {0, 0x808080, 0.5, false}};
    for (const auto& c : cases) {
        const std::set<std::uint64_t> want = expected(c.mode, c.target, c.tolerance, c.ignoreLightness);
        ASSERT_FALSE(want.empty()) << "mode " << c.mode;
        ASSERT_LT(want.size(), cloud.size()) << "mode " << c.mode;
        for (int readers : {1, 16}) {
            ColorFilter filter(coloring(c.mode), c.target, c.tolerance, c.ignoreLightness);
            SelectionReport report;
            EXPECT_EQ(select(filter, readers, &report), want) << "mode " << c.mode << ", " << readers << " workers";
            EXPECT_EQ(report.rejectedByFilter, cloud.size() - want.size());
        }
    }
}

TEST_F(ColorFilterTest, ModesThatColourAllPointsAlikeTakeAllOrNothingAndSayIt) {
    const std::string line =
        "  colore: con questa colorazione il confronto non distingue i punti fra loro, quindi il filtro prende tutto o niente";
    const std::uint32_t monochrome =
        std::uint32_t{channelToByte(0.2f)} << 16 | std::uint32_t{channelToByte(0.6f)} << 8 | channelToByte(0.3f);
    for (std::uint32_t mode : {1u, 14u}) {
        for (std::uint32_t target : {monochrome, 0xFF00FFu, 0xE64040u}) {
            LogCapture log;
            ColorFilter filter(coloring(mode), target, 8.0, false);
            EXPECT_TRUE(filter.allOrNothing());
            const std::set<std::uint64_t> got = select(filter, 2);
            EXPECT_TRUE(got.empty() || got.size() == cloud.size()) << "mode " << mode << " got " << got.size();
            EXPECT_EQ(got, expected(mode, target, 8.0, false));
            EXPECT_EQ(log.count(LogInfo, line), 1);
        }
    }
    ColorFilter whole(coloring(1), monochrome, 0.5, false);
    EXPECT_EQ(select(whole, 2).size(), cloud.size());
}

TEST_F(ColorFilterTest, TheAllOrNothingFlagFollowsTheModeAndTheLightness) {
    for (std::uint32_t mode = 0; mode <= 14; ++mode)
        for (bool ignore : {false, true}) {
            const bool grey = mode == 3 || (mode >= 5 && mode <= 8) || (mode >= 10 && mode <= 12);
            EXPECT_EQ(ColorFilter(coloring(mode), kTarget, 8, ignore).allOrNothing(), mode == 1 || mode == 14 || (ignore && grey))
                << "mode " << mode << " ignore " << ignore;
        }
}

TEST_F(ColorFilterTest, ReportLine) {
    LogCapture log;
    ColorFilter filter(coloring(0), kTarget, 8.0, true);
    SelectionReport report;
    const std::set<std::uint64_t> got = select(filter, 2, &report);
    char expect[300];
    std::snprintf(expect, sizeof expect,
                  "  colore #5A8C3C con tolleranza 8.0 dE (luminosita' ignorata), colorazione colori reali: 3.000 punti nella sagoma, %s di colore diverso, %s selezionati (%.1f%%)",
                  formatCount(cloud.size() - got.size()).c_str(), formatCount(got.size()).c_str(), got.size() * 100.0 / cloud.size());
    EXPECT_EQ(log.count(LogInfo, expect), 1);
}

}  // namespace
}  // namespace ovcf::test
