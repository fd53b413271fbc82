#include <algorithm>
#include <bit>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/FileSources.h"
#include "import/PlySource.h"

namespace ovcf {
namespace {

using test::TempDir;

// Appends a value in the file's byte order.
template <typename T>
void append(std::string& out, T value, bool bigEndian) {
    char bytes[sizeof(T)];
    std::memcpy(bytes, &value, sizeof(T));
    if (bigEndian != (std::endian::native == std::endian::big)) std::reverse(bytes, bytes + sizeof(T));
    out.append(bytes, sizeof(T));
}

std::string write(const TempDir& dir, const std::string& name, const std::string& bytes) {
    return test::writeFile(dir.file(name), bytes);
}

// Two faces before the vertices (lists to skip), then vertices with float x, double y, int z and
// uchar colours mixed with an unused property.
std::string binaryPly(bool bigEndian, std::size_t vertices) {
    std::string text = std::string("ply\nformat ") + (bigEndian ? "binary_big_endian" : "binary_little_endian") +
                       " 1.0\ncomment made by the tests\n"
                       "element face 2\nproperty list uchar int vertex_indices\n"
                       "element vertex " + std::to_string(vertices) + "\n"
                       "property float x\nproperty double y\nproperty int z\nproperty ushort quality\n"
                       "property uchar red\nproperty uchar green\nproperty uchar blue\nend_header\n";
    for (int face = 0; face < 2; ++face) {
        append<std::uint8_t>(text, 3, bigEndian);
        for (int i = 0; i < 3; ++i) append<std::int32_t>(text, i, bigEndian);
    }
    for (std::size_t i = 0; i < vertices; ++i) {
        append<float>(text, 100.0f + static_cast<float>(i) * 0.5f, bigEndian);
        append<double>(text, -20.25 + static_cast<double>(i), bigEndian);
        append<std::int32_t>(text, static_cast<std::int32_t>(i) * -3, bigEndian);
        append<std::uint16_t>(text, 0xBEEF, bigEndian);
        append<std::uint8_t>(text, static_cast<std::uint8_t>(i), bigEndian);
        append<std::uint8_t>(text, 200, bigEndian);
        append<std::uint8_t>(text, 7, bigEndian);
    }
    return text;
}

TEST(PlySourceTest, BinaryFilesOfEitherByteOrderReadAlike) {
    TempDir dir("ply");
    for (bool bigEndian : {false, true}) {
        SCOPED_TRACE(bigEndian ? "big endian" : "little endian");
        const std::string path = write(dir, "b.ply", binaryPly(bigEndian, 50));
        PlySource source;
        std::string error;
        ASSERT_TRUE(source.open(path, 0.25, error)) << error;
        EXPECT_EQ(source.pointCount(), 50u);
        EXPECT_TRUE(source.hasColour());
        EXPECT_EQ(source.bounds().min[0], 100.0);
        EXPECT_EQ(source.bounds().max[1], 28.75);
        EXPECT_EQ(source.bounds().min[2], -147.0);
        const auto points = test::readPoints(source, 3);
        ASSERT_EQ(points.size(), 50u);
        for (std::uint32_t i = 0; i < 50; ++i) {
            EXPECT_EQ(+points[i].x, 2 * i);
            EXPECT_EQ(+points[i].y, 4 * i);
            EXPECT_EQ(+points[i].z, 12 * (49 - i));
            EXPECT_EQ(points[i].red, i);
            EXPECT_EQ(points[i].green, 200);
            EXPECT_EQ(points[i].blue, 7);
        }
    }
}

TEST(PlySourceTest, AsciiFilesWithAndWithoutColour) {
    TempDir dir("ply");
    const std::string coloured = write(dir, "a.ply",
                                       "ply\r\nformat ascii 1.0\r\nelement vertex 3\r\nproperty double x\r\n"
                                       "property double y\r\nproperty double z\r\nproperty float red\r\n"
                                       "property float green\r\nproperty float blue\r\nelement face 1\r\n"
                                       "property list uchar int vertex_indices\r\nend_header\r\n"
                                       "1 2 3 1 0 0.5\r\n2 3 4 0 1 0\r\n3 4 5 0.2 0.2 0.2\r\n3 0 1 2\r\n");
    std::string error;
    auto source = openPointFile(coloured, 1.0, error);
    ASSERT_TRUE(source) << error;
    auto points = test::readPoints(*source, 3);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(+points[2].x, 2u);
    EXPECT_EQ(points[0].red, 255);  // floating-point colours run from 0 to 1
    EXPECT_EQ(points[0].blue, 128);
    EXPECT_EQ(points[2].green, 51);

    const std::string plain = write(dir, "p.ply",
                                    "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n"
                                    "property float z\nend_header\n0 0 0\n1 1 1\n");
    PlySource grey;
    ASSERT_TRUE(grey.open(plain, 0.0, error)) << error;
    EXPECT_FALSE(grey.hasColour());
    EXPECT_EQ(grey.step()[0], 0.0001);
    points = test::readPoints(grey, 3);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(+points[1].z, 10000u);
    EXPECT_EQ(points[1].red, 200);
}

TEST(PlySourceTest, SixteenBitColoursKeepTheirHighByte) {
    TempDir dir("ply");
    std::string text = "ply\nformat binary_little_endian 1.0\nelement vertex 1\nproperty float x\nproperty float y\n"
                       "property float z\nproperty ushort red\nproperty ushort green\nproperty ushort blue\nend_header\n";
    for (float v : {1.0f, 2.0f, 3.0f}) append<float>(text, v, false);
    for (std::uint16_t c : {std::uint16_t{0xFF00}, std::uint16_t{0x1234}, std::uint16_t{0x00FF}}) append<std::uint16_t>(text, c, false);
    PlySource source;
    std::string error;
    ASSERT_TRUE(source.open(write(dir, "c.ply", text), 0.0, error)) << error;
    const auto points = test::readPoints(source, 3);
    ASSERT_EQ(points.size(), 1u);
    EXPECT_EQ(points[0].red, 0xFF);
    EXPECT_EQ(points[0].green, 0x12);
    EXPECT_EQ(points[0].blue, 0x00);
}

TEST(PlySourceTest, MalformedFilesNameTheFileAndTheFault) {
    TempDir dir("ply");
    const std::string header = "ply\nformat ascii 1.0\nelement vertex 2\nproperty float x\nproperty float y\n";
    struct Case {
        std::string text;
        const char* expected;
    };
    const Case cases[] = {
        {header + "property float z\nproperty quad w\nend_header\n", "unknown property type 'quad' (header line 7)"},
        {header + "property list uchar fixed idx\nend_header\n", "unknown property type 'fixed' (header line 6)"},
        {header + "end_header\n1 2\n3 4\n", "the 'vertex' element has no 'z' property"},
        {header + "property float z\n", "the header has no 'end_header' line"},
        {"ply\nformat binary_middle_endian 1.0\n", "unknown format 'binary_middle_endian' (header line 2)"},
        {header + "property float z\nend_header\n1 2 3\n4 5\n", "vertex 1 has 2 values, the header declares 3"},
        {header + "property float z\nend_header\n1 2 3\n", "the file ends after 1 of 2 vertices"},
        {header + "property float z\nend_header\n1 2 3\n4 x 6\n", "vertex 1: 'x' is not a number"},
        {"ply\nformat ascii 1.0\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n3 0 1 2\n",
         "the file has no 'vertex' element"},
        {"ply\nformat binary_little_endian 1.0\nelement vertex 10\nproperty double x\nproperty double y\n"
         "property double z\nend_header\n0123456789",
         "the file is truncated: the header declares 10 vertices of 24 bytes"},
    };
    for (const Case& c : cases) {
        const std::string path = write(dir, "bad.ply", c.text);
        PlySource source;
        std::string error;
        EXPECT_FALSE(source.open(path, 0.01, error)) << c.expected;
        EXPECT_EQ(error, "'" + path + "': " + c.expected);
    }
}

}  // namespace
}  // namespace ovcf
