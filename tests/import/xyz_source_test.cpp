#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/FileSources.h"
#include "import/XyzSource.h"

namespace ovcf {
namespace {

using test::TempDir;

std::string writeText(const TempDir& dir, const std::string& name, const std::string& text) {
    return test::writeFile(dir.file(name), text);
}

TEST(XyzSourceTest, ReadsBlankOrCommaSeparatedPointsWithColours) {
    TempDir dir("xyz");
    const std::string path = writeText(dir, "c.txt",
                                       "# scan export\r\n"
                                       "X,Y,Z,R,G,B\r\n"
                                       "10.5, 20.25, -3.0, 255, 0, 128\r\n"
                                       "\r\n"
                                       "11.5\t20.75   -2.5 1 2 3 99\r\n"
                                       "// trailing comment\n"
                                       "12 21 -1 7 8 9");  // no final line end
    XyzSource source;
    std::string error;
    ASSERT_TRUE(source.open(path, 0.25, error)) << error;
    EXPECT_EQ(source.pointCount(), 3u);
    EXPECT_TRUE(source.hasColour());
    EXPECT_EQ(source.bounds().min[2], -3.0);
    EXPECT_EQ(source.bounds().max[0], 12.0);
    const auto points = test::readPoints(source, 2);
    ASSERT_EQ(points.size(), 3u);
    EXPECT_EQ(+points[0].x, 0u);
    EXPECT_EQ(+points[1].x, 4u);
    EXPECT_EQ(+points[2].x, 6u);
    EXPECT_EQ(+points[1].y, 2u);
    EXPECT_EQ(+points[2].z, 8u);
    EXPECT_EQ(points[0].red, 255);
    EXPECT_EQ(points[0].blue, 128);
    EXPECT_EQ(points[1].green, 2);
    EXPECT_EQ(points[2].blue, 9);
}

TEST(XyzSourceTest, ThreeColumnsAreGreyPointsWithTheDefaultStep) {
    TempDir dir("xyz");
    const std::string path = writeText(dir, "p.xyz", "1 2 3\n1.0001 2 3 0.5\n");
    std::string error;
    auto source = openPointFile(path, 0.0, error);
    ASSERT_TRUE(source) << error;
    EXPECT_FALSE(source->hasColour());
    EXPECT_EQ(source->step()[0], 0.0001);
    const auto points = test::readPoints(*source, 2);
    ASSERT_EQ(points.size(), 2u);
    EXPECT_EQ(points[1].x - points[0].x, 1u);
    EXPECT_EQ(points[0].red, 200);
}

TEST(XyzSourceTest, MalformedLinesNameTheFileAndTheLine) {
    TempDir dir("xyz");
    struct Case {
        const char* text;
        const char* expected;
    };
    for (const Case& c : {Case{"1 2 3\n4 5\n", "line 2: expected at least 3 values, found 2"},
                          Case{"1 2 3 4 5 6\n1 2 3\n", "line 2: expected at least 6 values, found 3"},
                          Case{"1 2 3\n4 five 6\n", "line 2: 'five' is not a number"},
                          Case{"1 2 3 300 0 0\n", "line 1: '300' is not a colour value from 0 to 255"},
                          Case{"1 2 3\n1 2 nan\n", "line 2: 'nan' is not a number"},
                          Case{"# nothing here\n\n", "the file contains no points"},
                          Case{"1,5;2,5;3,5\n", "line 1: '5;2' is not a number"},
                          Case{"0 0 0\n50000000 0 0\n", "the cloud extends 50000000.0 m along X, too much for the "
                                                         "0.0100 m quantisation step: use a coarser step"}}) {
        const std::string path = writeText(dir, "bad.xyz", c.text);
        XyzSource source;
        std::string error;
        EXPECT_FALSE(source.open(path, 0.01, error)) << c.text;
        EXPECT_EQ(error, "'" + path + "': " + c.expected);
    }
}

}  // namespace
}  // namespace ovcf
