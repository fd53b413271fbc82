// Cache names, storing a new content signature and refreshing it after a commit. Checking a cache
// against a host cloud and computing its signature are tested where the host calls them, through
// PC_CheckCache and PC_ComputeSignature (api tests).
#include <fstream>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/CacheCheck.h"
#include "import/CacheNaming.h"
#include "import/CacheSignature.h"
#include "import/MemoryCloud.h"
#include "import/OctreeIndexer.h"
#include "import/Quantization.h"
#include "import/SignatureUpdate.h"
#include "ovcf/SignatureDelta.h"

namespace ovcf {
namespace {

using test::TempDir;

TEST(CacheNamingTest, NameIsCutAtTheLastDotOfTheFileName) {
    EXPECT_EQ(cachePathFor("scan.e57"), "scan_cache.ovcf");
    EXPECT_EQ(cachePathFor("/data/site/scan.e57"), "/data/site/scan_cache.ovcf");
    EXPECT_EQ(cachePathFor("a.b.c"), "a.b_cache.ovcf");
    EXPECT_EQ(cachePathFor(".cloud"), ".cloud_cache.ovcf");
    EXPECT_EQ(cachePathFor("dir/.cloud"), "dir/.cloud_cache.ovcf");
    EXPECT_EQ(cachePathFor("dir/.cloud.las"), "dir/.cloud_cache.ovcf");
    EXPECT_EQ(cachePathFor("noextension"), "noextension_cache.ovcf");
    EXPECT_EQ(cachePathFor("/data.v2/noextension"), "/data.v2/noextension_cache.ovcf");
    EXPECT_EQ(cachePathFor("C:\\Rilievi.2024\\nuvola.pts"), "C:\\Rilievi.2024\\nuvola_cache.ovcf");
    EXPECT_EQ(cachePathFor("C:\\Rilievi.2024\\nuvola"), "C:\\Rilievi.2024\\nuvola_cache.ovcf");
    EXPECT_EQ(cachePathFor(""), "_cache.ovcf");
}

// A cache built from a host cloud, as PC_BuildCacheFromMemory builds it.
struct BuiltCache {
    std::string path;
    std::uint64_t signature = 0;
    std::uint64_t points = 0;
};

BuiltCache buildCache(const TempDir& dir, const test::HostCloud& cloud, bool withColours, const std::string& name) {
    MemoryCloud source(cloud.xyz.data(), withColours ? cloud.colours.data() : nullptr, cloud.size(), 0.001);
    ImportOptions options;
    options.pointFormat = withColours ? 1 : 0;
    options.temporaryParent = dir.path();
    ImportStats stats;
    std::string error;
    BuiltCache cache{dir.file(name), 0, cloud.size()};
    EXPECT_TRUE(buildOctree(source, cache.path, options, stats, error)) << error;
    cache.signature = stats.signatureOut;
    return cache;
}

void patch(const std::string& path, std::size_t offset, const void* bytes, std::size_t size) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
}

TEST(SignatureUpdateTest, StoresTheNewSignatureOnlyForTheRightAliveCount) {
    TempDir dir("cache");
    const BuiltCache cache = buildCache(dir, test::hostCloud(2000, 13), false, "u.ovcf");
    std::string error;
    EXPECT_FALSE(updateSignature(cache.path, 1999, 777, error));
    EXPECT_EQ(error, "the signature covers 1999 points but the file has 2000 alive");
    ASSERT_TRUE(updateSignature(cache.path, 2000, 777, error)) << error;
    FileHeader header;
    ASSERT_EQ(OvcfReader::probeHeader(cache.path, header, error), ProbeValid);
    EXPECT_EQ(header.currentSignature, 777u);
    EXPECT_EQ(header.buildSignature, cache.signature);
    EXPECT_FALSE(updateSignature(dir.file("gone.ovcf"), 1, 1, error));
    EXPECT_EQ(error.rfind("cannot open for writing '" + dir.file("gone.ovcf") + "'", 0), 0u) << error;
}

TEST(SignatureRefreshTest, HostRemovingTheCommittedPointsStillMatches) {
    TempDir dir("cache");
    const test::HostCloud cloud = test::hostCloud(40000, 14);
    MemoryCloud source(cloud.xyz.data(), cloud.colours.data(), cloud.size(), 0.001);
    ImportOptions options;
    options.pointFormat = 1;
    options.maxNodePoints = 5000;
    options.temporaryParent = dir.path();
    ImportStats stats;
    std::string error;
    const std::string path = dir.file("edited.ovcf");
    ASSERT_TRUE(buildOctree(source, path, options, stats, error)) << error;

    // The user deletes every point whose quantised x is a multiple of 7; the commit writes the map
    // and the count into the file (done here by hand) and then refreshes the signature.
    OvcfReader reader;
    ASSERT_TRUE(reader.open(path, error)) << error;
    const FileHeader& header = reader.header();
    std::vector<std::uint64_t> bits((header.pointCount + 63) / 64, 0);
    std::uint64_t deleted = 0;
    std::vector<PointRecord> points;
    for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
        ASSERT_TRUE(reader.readNode(n, points, error));
        for (std::size_t j = 0; j < points.size(); ++j) {
            if (points[j].x % 7 != 0) continue;
            const std::uint64_t g = reader.nodes()[n].firstPoint + j;
            bits[g / 64] |= std::uint64_t{1} << (g % 64);
            ++deleted;
        }
    }
    ASSERT_GT(deleted, 1000u);
    patch(path, static_cast<std::size_t>(header.deletedMapOffset), bits.data(), static_cast<std::size_t>(header.deletedMapSize));
    patch(path, 192, &deleted, 8);
    const std::uint64_t alive = header.pointCount - deleted;
    const std::vector<std::uint64_t> none(bits.size(), 0);
    SignatureChange change;
    ASSERT_TRUE(changedSignature(reader, none, bits, header.currentSignature, change, error)) << error;
    ASSERT_TRUE(updateSignature(path, alive, change.signature, error)) << error;

    test::HostCloud survivors;
    for (std::size_t i = 0; i < cloud.size(); ++i) {
        if (quantizeCoordinate(cloud.xyz[3 * i], header.offset[0], header.step[0]) % 7 == 0) continue;
        survivors.xyz.insert(survivors.xyz.end(), {cloud.xyz[3 * i], cloud.xyz[3 * i + 1], cloud.xyz[3 * i + 2]});
        survivors.colours.push_back(cloud.colours[i]);
    }
    ASSERT_EQ(survivors.size(), alive);
    std::uint64_t signature = 0;
    ASSERT_TRUE(computeCacheSignature(path, survivors.xyz.data(), survivors.colours.data(), survivors.size(), signature, error));
    std::string detail;
    EXPECT_EQ(checkCache(path, alive, signature, detail), CacheMatches) << detail;
    // The whole cloud no longer matches by count; the signature as built is untouched.
    EXPECT_EQ(checkCache(path, cloud.size(), stats.signatureOut, detail), CacheCountDiffers);
    FileHeader after;
    ASSERT_EQ(OvcfReader::probeHeader(path, after, error), ProbeValid);
    EXPECT_EQ(after.buildSignature, stats.signatureOut);

    // A node that cannot be read again ends the update with the reader's reason.
    const std::string broken = dir.file("broken.ovcf");
    std::filesystem::copy_file(test::fsPath(path), test::fsPath(broken));
    OvcfReader brokenReader;
    ASSERT_TRUE(brokenReader.open(broken, error)) << error;
    std::filesystem::resize_file(test::fsPath(broken), 600);
    // Only the last node changes: the others are not read.
    std::vector<std::uint64_t> lastPoint(bits.size(), 0);
    const std::uint64_t last = header.pointCount - 1;
    lastPoint[last / 64] |= std::uint64_t{1} << (last % 64);
    EXPECT_FALSE(changedSignature(brokenReader, none, lastPoint, header.currentSignature, change, error));
    const std::string expected =
        "cannot re-read node " + std::to_string(brokenReader.nodes().size() - 1) + " to update the cache signature: ";
    EXPECT_EQ(error.rfind(expected, 0), 0u) << error;
}

}  // namespace
}  // namespace ovcf
