// The processor's colour of a point in every colour mode against the pixel the renderer draws for
// it: one point per pixel, with colours, greys, intensities, classes, heights and node levels that
// cover each mode's formula and its rounding boundaries; every channel must match exactly.
#include <random>
#include <sstream>

#include "RenderTestSupport.h"
#include "cloud/PointColors.h"
#include "import/MemoryCloud.h"
#include "ovcf/FileFormat.h"

namespace ovcf::test {
namespace {

constexpr int kLevels = 20;  // one node per level 0..19: the level colours repeat every eight

class PointColorsTest : public RenderTest {
protected:
    static constexpr int kW = 128, kH = 96;
    static constexpr Vec3d kNodeOrigin{1.5, -2.0, 1.0};
    static constexpr double kLow = -3.7, kHigh = 5.2;  // the elevation range; points lie beyond it too

    struct Sample {
        int px, py;
        PointRecord record;
        double z;  // relative to the render origin
        std::uint32_t level;
    };

    void SetUp() override {
        open(kW, kH);
        if (HasFatalFailure()) return;
        std::mt19937 random(7);
        std::vector<std::vector<PointVertex>> byLevel(kLevels);
        for (int py = 0; py < kH; ++py)
            for (int px = 0; px < kW; ++px) {
                const int i = py * kW + px;
                Sample s{px, py, {}, 0.0, static_cast<std::uint32_t>(i % kLevels)};
                if (i < 256) {  // every grey
                    s.record.red = s.record.green = s.record.blue = static_cast<std::uint8_t>(i);
                } else if (i < 256 + 216) {  // a 6-level colour cube: hue edges and ties
                    const int k = i - 256;
                    s.record.red = static_cast<std::uint8_t>(51 * (k % 6));
                    s.record.green = static_cast<std::uint8_t>(51 * (k / 6 % 6));
                    s.record.blue = static_cast<std::uint8_t>(51 * (k / 36));
                } else {
                    s.record.red = static_cast<std::uint8_t>(random());
                    s.record.green = static_cast<std::uint8_t>(random());
                    s.record.blue = static_cast<std::uint8_t>(random());
                }
                s.record.intensity = i < 2 ? static_cast<std::uint16_t>(i * 65535) : static_cast<std::uint16_t>(random());
                s.record.classification = static_cast<std::uint8_t>(i);
                s.z = kLow - 1.0 + (kHigh - kLow + 2.0) * std::uniform_real_distribution<double>(0, 1)(random);
                const double depth = kEyeDistance - s.z;
                const Rgb colour{s.record.red, s.record.green, s.record.blue};
                PointVertex v = pointAt(px, py, depth, colour, static_cast<std::uint32_t>(i), kNodeOrigin);
                v.intensity = s.record.intensity;
                v.classification = s.record.classification;
                byLevel[s.level].push_back(v);
                // What the engine would compute: the point's own height, not the float sum the GPU makes.
                s.z = kNodeOrigin.z + static_cast<double>(v.z);
                samples.push_back(s);
            }
        for (std::uint32_t level = 0; level < kLevels; ++level) addNode(byLevel[level], kNodeOrigin, level);
    }

    // Pixels whose drawn colour differs from the processor's, described.
    std::vector<std::string> mismatches(std::uint32_t mode) {
        settings.colorMode = mode;
        FrameScene frame = scene();
        frame.elevationLow = static_cast<float>(kLow);
        frame.elevationHigh = static_cast<float>(kHigh);
        const Picture picture = draw(frame);
        const PointColoring coloring = pointColoring(settings, kLow, kHigh, PointFormatXyzRgbIntensityClass);
        std::vector<std::string> out;
        for (const Sample& s : samples) {
            const std::uint32_t c = displayedColor(coloring, s.record, s.z, s.level);
            const Rgb want{int(c >> 16), int(c >> 8 & 255), int(c & 255)};
            const Rgb got = picture.at(s.px, s.py);
            if (got == want) continue;
            std::ostringstream text;
            text << "rgb (" << int(s.record.red) << ", " << int(s.record.green) << ", " << int(s.record.blue)
                 << ") intensity " << s.record.intensity << " z " << s.z << ": drawn " << got << ", computed " << want;
            out.push_back(text.str());
        }
        return out;
    }

    std::vector<Sample> samples;
};

TEST_F(PointColorsTest, EveryModeGivesTheDrawnColourExactly) {
    settings.monochromeColor = {0.5f, 0.1f, 0.9f};  // 127.5 lies on a rounding boundary
    for (std::uint32_t mode = 0; mode <= 15; ++mode) {
        const std::vector<std::string> wrong = mismatches(mode);
        EXPECT_TRUE(wrong.empty()) << "mode " << mode << ": " << wrong.size() << " of " << samples.size()
                                   << " pixels differ, first: " << wrong.front();
    }
}

TEST_F(PointColorsTest, CloudsWithoutColourAreDrawnGrey) {
    // The file keeps no colour, so the records' channels are 0; the node loader draws them grey.
    PointRecord stored, drawn;
    drawn.red = drawn.green = drawn.blue = kGreyWithoutColour;
    for (std::uint32_t mode : {0u, 3u, 4u, 9u}) {
        settings.colorMode = mode;
        EXPECT_EQ(displayedColor(pointColoring(settings, 0.0, 1.0, PointFormatXyz), stored, 0.0, 0),
                  displayedColor(pointColoring(settings, 0.0, 1.0, PointFormatXyzRgb), drawn, 0.0, 0));
    }
    EXPECT_NE(displayedColor(pointColoring(settings, 0.0, 1.0, PointFormatXyzRgb), stored, 0.0, 0),
              displayedColor(pointColoring(settings, 0.0, 1.0, PointFormatXyzRgb), drawn, 0.0, 0));
}

}  // namespace
}  // namespace ovcf::test
