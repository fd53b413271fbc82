#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <random>

#include "PngInspect.h"
#include "TestSupport.h"
#include "view/PngWriter.h"

namespace ovcf {
namespace {

using test::inspectPng;
using test::InspectedPng;

std::vector<std::uint8_t> randomPixels(int width, int height, unsigned seed) {
    std::mt19937 rng(seed);
    std::vector<std::uint8_t> rgb(std::size_t(width) * height * 3);
    for (auto& b : rgb) b = static_cast<std::uint8_t>(rng());
    return rgb;
}

// The raw stream the file must hold: each row from the top, a filter byte 0, then the row.
std::vector<std::uint8_t> expectedRaw(int width, int height, const std::vector<std::uint8_t>& rgb, bool bottomUp) {
    std::vector<std::uint8_t> raw;
    const std::size_t stride = std::size_t(width) * 3;
    for (int row = 0; row < height; ++row) {
        const int source = bottomUp ? height - 1 - row : row;
        raw.push_back(0);
        raw.insert(raw.end(), rgb.begin() + source * stride, rgb.begin() + (source + 1) * stride);
    }
    return raw;
}

InspectedPng encodeAndInspect(int width, int height, const std::vector<std::uint8_t>& rgb, bool bottomUp) {
    std::vector<std::uint8_t> file;
    std::string error;
    EXPECT_TRUE(encodePng(width, height, rgb.data(), bottomUp, file, error)) << error;
    InspectedPng png = inspectPng(file);
    EXPECT_EQ(png.problem, "");
    EXPECT_TRUE(png.signatureOk);
    EXPECT_TRUE(png.adlerMatches);
    for (const auto& chunk : png.chunks) EXPECT_TRUE(chunk.crcMatches) << chunk.type;
    return png;
}

TEST(PngWriter, OnePixelIsACompleteTruecolourFile) {
    const std::vector<std::uint8_t> rgb = {0x12, 0xAB, 0xF0};
    std::vector<std::uint8_t> file;
    std::string error;
    ASSERT_TRUE(encodePng(1, 1, rgb.data(), false, file, error));
    // Signature, IHDR (12 + 13), IDAT (12 + zlib header 2 + block header 5 + 4 raw + Adler 4), IEND.
    EXPECT_EQ(file.size(), 8u + 25u + 27u + 12u);

    const InspectedPng png = encodeAndInspect(1, 1, rgb, false);
    ASSERT_EQ(png.chunks.size(), 3u);
    EXPECT_EQ(png.chunks[0].type, "IHDR");
    EXPECT_EQ(png.chunks[1].type, "IDAT");
    EXPECT_EQ(png.chunks[2].type, "IEND");
    EXPECT_TRUE(png.chunks[2].data.empty());
    EXPECT_EQ(png.width, 1u);
    EXPECT_EQ(png.height, 1u);
    EXPECT_EQ(png.bitDepth, 8);
    EXPECT_EQ(png.colorType, 2);
    EXPECT_EQ(png.compression, 0);
    EXPECT_EQ(png.filter, 0);
    EXPECT_EQ(png.interlace, 0);
    EXPECT_EQ(png.zlibStream[0], 0x78);
    EXPECT_EQ(png.zlibStream[1], 0x01);
    ASSERT_EQ(png.blocks.size(), 1u);
    EXPECT_TRUE(png.blocks[0].final);
    EXPECT_EQ(png.raw, (std::vector<std::uint8_t>{0, 0x12, 0xAB, 0xF0}));
}

TEST(PngWriter, StoredBlocksHoldAtMost65535Bytes) {
    // 1456 × 15 is 65535 raw bytes, one full block; 21845 × 1 is 65536, a full block and one byte;
    // the edges of 301 × 250's blocks fall inside rows.
    for (const auto& [width, height] : {std::pair{1456, 15}, std::pair{21845, 1}, std::pair{301, 250}}) {
        SCOPED_TRACE(width);
        const auto rgb = randomPixels(width, height, static_cast<unsigned>(width));
        const InspectedPng png = encodeAndInspect(width, height, rgb, false);
        const std::size_t rawSize = (std::size_t(width) * 3 + 1) * height;
        ASSERT_EQ(png.blocks.size(), (rawSize + 65534) / 65535);
        for (std::size_t i = 0; i < png.blocks.size(); ++i) {
            const bool last = i + 1 == png.blocks.size();
            EXPECT_EQ(png.blocks[i].length, last ? rawSize - 65535 * i : 65535u) << i;
            EXPECT_EQ(png.blocks[i].final, last) << i;
        }
        EXPECT_EQ(png.raw, expectedRaw(width, height, rgb, false));
    }
}

TEST(PngWriter, BottomUpRowsPutTheTopOfThePictureFirst) {
    // Three rows of two pixels, each row one flat grey level.
    std::vector<std::uint8_t> rgb;
    for (std::uint8_t level : {10, 20, 30})
        for (int i = 0; i < 6; ++i) rgb.push_back(level);
    const InspectedPng flipped = encodeAndInspect(2, 3, rgb, true);
    EXPECT_EQ(flipped.raw[1], 30);  // the last row in memory is the top of the picture
    EXPECT_EQ(flipped.raw[7 + 1], 20);
    EXPECT_EQ(flipped.raw[14 + 1], 10);
    EXPECT_EQ(flipped.raw, expectedRaw(2, 3, rgb, true));
    const InspectedPng straight = encodeAndInspect(2, 3, rgb, false);
    EXPECT_EQ(straight.raw[1], 10);
}

TEST(PngWriter, InvalidPicturesAreRefused) {
    const std::uint8_t pixel[3] = {1, 2, 3};
    struct Case {
        int width, height;
        const std::uint8_t* rgb;
    };
    // The last is too large for one chunk: refused before a single pixel is read.
    for (const Case& c : {Case{0, 1, pixel}, Case{1, -4, pixel}, Case{1, 1, nullptr}, Case{1000000, 1000, pixel}}) {
        std::vector<std::uint8_t> file;
        std::string error;
        EXPECT_FALSE(encodePng(c.width, c.height, c.rgb, false, file, error)) << c.width << " x " << c.height;
        EXPECT_EQ(error, "immagine non valida");
    }
    test::TempDir dir;
    std::string error;
    EXPECT_FALSE(writePng(dir.file("x.png"), 0, 0, pixel, false, error));
    EXPECT_EQ(error, "immagine non valida");
    EXPECT_FALSE(std::filesystem::exists(test::fsPath(dir.file("x.png"))));
}

TEST(PngWriter, WritesTheFileUnderANonAsciiNameAndReplacesAnOldOne) {
    test::TempDir dir;
    const std::string path = dir.file("schermata città €.png");
    {
        std::ofstream old(test::fsPath(path), std::ios::binary);
        old << std::string(100000, 'x');
    }
    const auto rgb = randomPixels(40, 30, 4);
    std::string error;
    ASSERT_TRUE(writePng(path, 40, 30, rgb.data(), true, error)) << error;
    std::vector<std::uint8_t> expected;
    ASSERT_TRUE(encodePng(40, 30, rgb.data(), true, expected, error));
    EXPECT_EQ(test::fileBytes(path), expected);
}

TEST(PngWriter, FailuresNameThePath) {
    test::TempDir dir;
    const auto rgb = randomPixels(64, 64, 5);
    std::string error;
    const std::string missingFolder = dir.file("manca/foto.png");
    EXPECT_FALSE(writePng(missingFolder, 4, 4, rgb.data(), false, error));
    EXPECT_EQ(error, "impossibile creare '" + missingFolder + "'");
    // A device that accepts the open and refuses every write.
    if (!std::filesystem::exists("/dev/full")) GTEST_SKIP() << "no /dev/full here";
    EXPECT_FALSE(writePng("/dev/full", 64, 64, rgb.data(), false, error));
    EXPECT_EQ(error, "scrittura di '/dev/full' fallita");
}

}  // namespace
}  // namespace ovcf
