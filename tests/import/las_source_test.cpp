#include <cmath>
#include <cstring>
#include <map>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "LasTestFile.h"
#include "TestSupport.h"
#include "import/LasSource.h"
#include "import/OctreeIndexer.h"

namespace ovcf {
namespace {

using test::LasTestFile;
using test::LasTestPoint;
using test::readPoints;
using test::TempDir;

std::vector<LasTestPoint> samplePoints(std::size_t count) {
    std::vector<LasTestPoint> points;
    for (std::size_t i = 0; i < count; ++i) {
        LasTestPoint p;
        p.x = static_cast<std::int32_t>(i * 37 % 1000) - 500;
        p.y = static_cast<std::int32_t>(i * 91 % 2000);
        p.z = -static_cast<std::int32_t>(i % 300);
        p.intensity = static_cast<std::uint16_t>(i * 13);
        p.classification = static_cast<std::uint8_t>(i % 19);
        p.red = static_cast<std::uint16_t>(i * 257 % 65536);
        p.green = static_cast<std::uint16_t>(65535 - i);
        p.blue = 4096;
        points.push_back(p);
    }
    return points;
}

struct Sample {
    const char* file;
    std::uint64_t points;
    std::map<int, std::uint64_t> classes;
};

const Sample kSamples[] = {
    {"pdal_autzen_trim.las", 110000, {{1, 83893}, {2, 26107}}},
    {"pdal_autzen_trim_7.las", 110000, {{1, 83893}, {2, 26107}}},
    {"laspy_file_with_both_wkt_and_geotiff_vlrs.las", 25408, {{2, 9808}, {3, 158}, {4, 724}, {5, 10956}, {6, 3737}, {7, 25}}},
    {"pdal_4_6_crop.las", 23875, {{1, 14872}, {2, 9003}}},
    {"pdal_hexbin-crop.las", 38367, {{1, 3049}, {2, 35318}}},
    {"pdal_sample_nc.las", 14408, {{0, 14408}}},
    {"pdal_las_with_several_extra_byte_bloc_decompressed.las", 697721,
     {{1, 3262}, {2, 683023}, {3, 960}, {4, 873}, {5, 9003}, {6, 590}, {65, 10}}},
};

TEST(LasSourceTest, SharedSamplesBuildIntoFilesThatKeepEveryPointAndClass) {
    TempDir dir("las");
    for (const Sample& sample : kSamples) {
        SCOPED_TRACE(sample.file);
        LasSource source;
        std::string error;
        ASSERT_TRUE(source.open(test::sharedDataFile(sample.file), 0.0, error)) << error;
        EXPECT_EQ(source.pointCount(), sample.points);
        EXPECT_EQ(source.fullPointFormat(), 2u);

        ImportOptions options;
        options.pointFormat = source.fullPointFormat();
        options.temporaryParent = dir.path();
        ImportStats stats;
        const std::string output = dir.file("sample.ovcf");
        ASSERT_TRUE(buildOctree(source, output, options, stats, error)) << error;

        FileHeader header;
        const auto nodes = test::readWholeFile(output, &header);  // CRC verified
        EXPECT_EQ(header.pointCount, sample.points);
        std::map<int, std::uint64_t> classes;
        for (const auto& node : nodes)
            for (const PointRecord& p : node.points) ++classes[p.classification];
        EXPECT_EQ(classes, sample.classes);
    }
}

TEST(LasSourceTest, ColourDepthIsDetectedPerFile) {
    struct Expected {
        const char* file;
        bool colour;
        bool eightBit;
    };
    for (const Expected& e : {Expected{"pdal_autzen_trim.las", true, true}, Expected{"pdal_sample_nc.las", true, false},
                              Expected{"pdal_las_with_several_extra_byte_bloc_decompressed.las", true, false},
                              Expected{"pdal_4_6_crop.las", false, false}, Expected{"pdal_hexbin-crop.las", false, false}}) {
        SCOPED_TRACE(e.file);
        LasSource source;
        std::string error;
        ASSERT_TRUE(source.open(test::sharedDataFile(e.file), 0.0, error)) << error;
        EXPECT_EQ(source.hasColour(), e.colour);
        // 4_6_crop has colour fields, zero for every point: it reads as a file without colour.
        const bool zeroColour = std::string(e.file) == "pdal_4_6_crop.las";
        EXPECT_EQ(source.colourNote().empty(), !zeroColour);
        if (zeroColour) {
            for (const PointRecord& p : readPoints(source)) ASSERT_TRUE(p.red == 200 && p.green == 200 && p.blue == 200);
        }
        if (e.colour) {
            EXPECT_EQ(source.coloursAreEightBit(), e.eightBit);
        }
    }
}

TEST(LasSourceTest, EveryPointFormatReadsCoordinatesAttributesAndColours) {
    TempDir dir("las");
    for (std::uint8_t format = 0; format <= 10; ++format) {
        SCOPED_TRACE("format " + std::to_string(format));
        LasTestFile las;
        las.versionMinor = format >= 6 ? 4 : 2;
        las.pointFormat = format;
        las.extraBytes = format % 3;  // extra bytes must be skipped
        las.points = samplePoints(3000);
        const std::string path = dir.file("f.las");
        las.write(path);
        LasSource source;
        std::string error;
        ASSERT_TRUE(source.open(path, 0.0, error)) << error;
        ASSERT_EQ(source.pointCount(), 3000u);
        const bool colour = format == 2 || format == 3 || format == 5 || format == 7 || format == 8 || format == 10;
        EXPECT_EQ(source.hasColour(), colour);
        const auto points = readPoints(source);
        ASSERT_EQ(points.size(), 3000u);
        for (std::size_t i = 0; i < points.size(); ++i) {
            const LasTestPoint& in = las.points[i];
            const PointRecord& out = points[i];
            const std::int32_t v[3] = {in.x, in.y, in.z};
            const std::uint32_t q[3] = {out.x, out.y, out.z};
            for (int a = 0; a < 3; ++a) {
                // The file's integers are kept: the same world coordinate, exactly on the grid.
                EXPECT_NEAR(source.offset()[a] + source.step()[a] * q[a], las.offset[a] + las.scale[a] * v[a], 1e-6);
                EXPECT_EQ(source.step()[a], las.scale[a]);
            }
            ASSERT_EQ(out.intensity, in.intensity);
            ASSERT_EQ(out.classification, in.classification);
            if (colour) {
                ASSERT_EQ(out.red, in.red >> 8);  // values above 255: the high byte
                ASSERT_EQ(out.green, in.green >> 8);
                ASSERT_EQ(out.blue, 16);
            } else {
                ASSERT_EQ(out.red, 200);
            }
        }
    }
}

TEST(LasSourceTest, EightBitColoursInSixteenBitFieldsAreKept) {
    TempDir dir("las");
    LasTestFile las;
    las.points = samplePoints(100);
    for (auto& p : las.points) {
        p.red = static_cast<std::uint16_t>(p.red % 256);
        p.green = 255;
        p.blue = 0;
    }
    las.write(dir.file("c.las"));
    LasSource source;
    std::string error;
    ASSERT_TRUE(source.open(dir.file("c.las"), 0.0, error)) << error;
    EXPECT_TRUE(source.coloursAreEightBit());
    const auto points = readPoints(source);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(points[i].red, las.points[i].red);
        EXPECT_EQ(points[i].green, 255);
    }
}

TEST(LasSourceTest, ACoarserStepRequantisesTheWorldCoordinates) {
    TempDir dir("las");
    LasTestFile las;
    las.points = samplePoints(500);
    las.write(dir.file("s.las"));
    LasSource source;
    std::string error;
    ASSERT_TRUE(source.open(dir.file("s.las"), 0.25, error)) << error;
    EXPECT_EQ(source.step()[1], 0.25);
    const auto points = readPoints(source);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double world = las.offset[0] + las.scale[0] * las.points[i].x;
        EXPECT_LE(std::fabs(source.offset()[0] + 0.25 * points[i].x - world), 0.125 + 1e-9);
    }
}

TEST(LasSourceTest, HeaderWithoutABoxIsScannedForOne) {
    TempDir dir("las");
    LasTestFile las;
    las.versionMinor = 4;
    las.pointFormat = 6;
    las.writeBounds = false;
    las.points = samplePoints(800);
    las.write(dir.file("nobox.las"));
    LasSource source;
    std::string error;
    ASSERT_TRUE(source.open(dir.file("nobox.las"), 0.0, error)) << error;
    EXPECT_NEAR(source.bounds().min[0], 1000.0 - 5.0, 1e-9);
    EXPECT_NEAR(source.bounds().max[2], 0.0, 1e-9);
    EXPECT_EQ(readPoints(source).size(), 800u);
}

TEST(LasSourceTest, TheFirstPassOnSeveralThreadsMeasuresWhatOneThreadDoes) {
    // No box in the header: the bounds come from the pass. The extremes and the only colour above
    // 255 are in the last record, which a later thread scans.
    TempDir dir("las");
    LasTestFile las;
    las.writeBounds = false;
    las.points = samplePoints(200000);
    for (LasTestPoint& p : las.points) p.red = p.green = p.blue = 100;
    las.points.back().x = 9000;
    las.points.back().z = -7000;
    las.points.back().blue = 4096;
    las.write(dir.file("long.las"));
    for (const unsigned threads : {1u, 2u, 5u}) {
        SCOPED_TRACE(threads);
        LasSource source;
        source.setThreads(threads);
        std::string error;
        ASSERT_TRUE(source.open(dir.file("long.las"), 0.0, error)) << error;
        EXPECT_NEAR(source.bounds().min[0], 1000.0 - 5.0, 1e-9);
        EXPECT_NEAR(source.bounds().max[0], 1000.0 + 90.0, 1e-9);
        EXPECT_NEAR(source.bounds().min[2], -70.0, 1e-9);
        EXPECT_FALSE(source.coloursAreEightBit());
    }
}

TEST(LasSourceTest, MalformedFilesAreRefusedNamingTheFileAndTheFault) {
    TempDir dir("las");
    LasTestFile las;
    las.points = samplePoints(1000);
    const std::vector<std::uint8_t> good = las.bytes();
    struct Case {
        std::size_t at;  // the byte changed, or past the end: the file cut to `value` bytes
        std::size_t value;
        const char* fault;
    };
    for (const Case& c : {Case{good.size(), good.size() - 5, "the file is truncated: the header declares 1000 points of 34 bytes"},
                          Case{good.size(), 100, "the LAS header is truncated"},
                          Case{104, 0x83, "compressed LAS (LAZ) records: open the file as LAZ"},  // LAZ's top bits
                          Case{105, 20, "too short for LAS point format 3"},
                          Case{24, 2, "LAS version 2.2 is not supported"},
                          Case{0, 'X', "not a LAS file"},
                          Case{104, 11, "unknown LAS point format 11"}}) {
        std::vector<std::uint8_t> bytes = good;
        if (c.at < bytes.size())
            bytes[c.at] = static_cast<std::uint8_t>(c.value);
        else
            bytes.resize(c.value);
        const std::string path = test::writeFile(dir.file("bad.las"), bytes);
        LasSource source;
        std::string error;
        EXPECT_FALSE(source.open(path, 0.0, error)) << c.fault;
        EXPECT_EQ(error.rfind("'" + path + "': ", 0), 0u) << error;
        EXPECT_NE(error.find(c.fault), std::string::npos) << error;
    }
    LasSource missing;
    std::string error;
    EXPECT_FALSE(missing.open(dir.file("none.las"), 0.0, error));
    EXPECT_NE(error.find("none.las': cannot open the file"), std::string::npos) << error;
}

// The header's box shrunk by `inset` metres on every side, as writers that round inwards or add
// points after the header leave it.
std::vector<std::uint8_t> withShrunkBox(std::vector<std::uint8_t> bytes, double inset) {
    for (int axis = 0; axis < 3; ++axis) {
        double high, low;
        std::memcpy(&high, bytes.data() + 179 + 16 * axis, 8);
        std::memcpy(&low, bytes.data() + 187 + 16 * axis, 8);
        high -= inset;
        low += inset;
        std::memcpy(bytes.data() + 179 + 16 * axis, &high, 8);
        std::memcpy(bytes.data() + 187 + 16 * axis, &low, 8);
    }
    return bytes;
}

struct Built {
    FileHeader header;
    std::map<int, std::uint64_t> classes;
};

Built buildLas(const TempDir& dir, const std::string& path, double step) {
    Built built;
    LasSource source;
    std::string error;
    EXPECT_TRUE(source.open(path, step, error)) << error;
    ImportOptions options;
    options.pointFormat = 2;
    options.temporaryParent = dir.path();
    ImportStats stats;
    const std::string output = path + ".ovcf";
    EXPECT_TRUE(buildOctree(source, output, options, stats, error)) << error;
    for (const auto& node : test::readWholeFile(output, &built.header))
        for (const PointRecord& p : node.points) ++built.classes[p.classification];
    return built;
}

TEST(LasSourceTest, AHeaderBoxSmallerThanThePointsIsOnlyAHint) {
    TempDir dir("las");
    LasTestFile las;
    las.points = samplePoints(100);
    const std::vector<std::uint8_t> honest = las.bytes();
    // Points reach 0,4 m (40 units) beyond each side of the declared box, on every axis.
    const std::string exact = test::writeFile(dir.file("exact.las"), honest);
    const std::string shrunk = test::writeFile(dir.file("shrunk.las"), withShrunkBox(honest, 0.4));
    for (double step : {0.0, 0.25}) {
        SCOPED_TRACE(step);
        const Built expected = buildLas(dir, exact, step);
        const Built got = buildLas(dir, shrunk, step);
        EXPECT_EQ(got.header.pointCount, 100u);
        EXPECT_EQ(got.classes, expected.classes);
        for (int a = 0; a < 3; ++a) {  // the true box, measured while reading
            EXPECT_NEAR(got.header.boundsMin[a], expected.header.boundsMin[a], 1e-6) << a;
            EXPECT_NEAR(got.header.boundsMax[a], expected.header.boundsMax[a], 1e-6) << a;
        }
    }
    // A real delivery with its box shrunk by a metre keeps every point and class.
    const Sample& sample = kSamples[0];
    const std::vector<std::uint8_t> real = test::wholeFile(test::sharedDataFile(sample.file));
    const Built got = buildLas(dir, test::writeFile(dir.file("real.las"), withShrunkBox(real, 1.0)), 0.0);
    EXPECT_EQ(got.header.pointCount, sample.points);
    EXPECT_EQ(got.classes, sample.classes);
}

}  // namespace
}  // namespace ovcf
