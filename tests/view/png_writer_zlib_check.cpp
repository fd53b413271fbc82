// Decodes the encoder's output with zlib, an implementation that shares nothing with ours.
// Built where the system has zlib (the native builds).
#include <gtest/gtest.h>
#include <zlib.h>

#include <random>

#include "PngInspect.h"
#include "view/PngWriter.h"

namespace ovcf {
namespace {

void checkWithZlib(int width, int height, bool bottomUp, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<std::uint8_t> rgb(std::size_t(width) * height * 3);
    for (auto& b : rgb) b = static_cast<std::uint8_t>(rng());
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng(width, height, rgb.data(), bottomUp, file, error)) << error;

    // The inspector gathers the data of the chunks (the encoder tests check their CRCs); zlib inflates it.
    const test::InspectedPng png = test::inspectPng(file);
    ASSERT_EQ(png.problem, "");

    const std::size_t stride = std::size_t(width) * 3;
    std::vector<std::uint8_t> raw((stride + 1) * height + 1);
    uLongf rawLength = raw.size();
    ASSERT_EQ(uncompress(raw.data(), &rawLength, png.zlibStream.data(), png.zlibStream.size()), Z_OK);
    ASSERT_EQ(rawLength, (stride + 1) * height);
    for (int row = 0; row < height; ++row) {
        const std::uint8_t* line = &raw[row * (stride + 1)];
        ASSERT_EQ(line[0], 0) << row;
        const int source = bottomUp ? height - 1 - row : row;
        ASSERT_TRUE(std::equal(line + 1, line + 1 + stride, rgb.begin() + source * stride)) << row;
    }
}

TEST(PngWriterZlib, ZlibDecodesWhatWeWrite) {
    checkWithZlib(1, 1, false, 11);
    checkWithZlib(1456, 15, false, 12);   // 65535 raw bytes
    checkWithZlib(21845, 1, false, 13);   // 65536 raw bytes
    checkWithZlib(333, 211, true, 14);
}

}  // namespace
}  // namespace ovcf
