#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "LibraryError.h"
#include "OrvanePC.h"
#include "TestSupport.h"

namespace cache_exports {
namespace {

using ovcf::test::TempDir;

using ovcf::test::lastLibraryError;

bool exists(const std::string& utf8) {
    std::error_code ignored;
    return std::filesystem::exists(ovcf::test::fsPath(utf8), ignored);
}

struct Cloud {
    std::vector<double> xyz;
    std::vector<uint32_t> colours;
    int64_t count() const { return static_cast<int64_t>(colours.size()); }
};

// A sloping field 300 m across with a few trees, far from the origin as survey data is.
Cloud fieldCloud(std::size_t count, uint32_t seed) {
    std::mt19937 random(seed);
    std::uniform_real_distribution<double> across(0.0, 300.0);
    std::uniform_real_distribution<double> height(0.0, 12.0);
    Cloud cloud;
    for (std::size_t i = 0; i < count; ++i) {
        const double x = across(random), y = across(random);
        const bool tree = i % 7 == 0;
        cloud.xyz.insert(cloud.xyz.end(), {680000.0 + x, 5020000.0 + y, 215.0 + 0.02 * y + (tree ? height(random) : 0.0)});
        cloud.colours.push_back(tree ? 0x2E8B57u : 0x8B7355u + (static_cast<uint32_t>(random()) & 0x0F0F0Fu));
    }
    return cloud;
}

Cloud shuffled(const Cloud& cloud) {
    std::vector<std::size_t> order(cloud.colours.size());
    std::iota(order.begin(), order.end(), 0);
    std::shuffle(order.begin(), order.end(), std::mt19937(99));
    Cloud out;
    for (std::size_t i : order) {
        out.xyz.insert(out.xyz.end(), {cloud.xyz[3 * i], cloud.xyz[3 * i + 1], cloud.xyz[3 * i + 2]});
        out.colours.push_back(cloud.colours[i]);
    }
    return out;
}

void patch(const std::string& path, std::streamoff offset, const void* bytes, std::size_t size) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(offset);
    file.write(static_cast<const char*>(bytes), static_cast<std::streamsize>(size));
}

TEST(CacheExportsTest, BuildRefusesBadArgumentsAndMissingFoldersWithoutWritingAnything) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(10, 1);
    const std::string path = dir.file("c.ovcf");
    EXPECT_EQ(PC_BuildCacheFromMemory(nullptr, cloud.xyz.data(), nullptr, 10, 0.001, nullptr, nullptr), PC_BAD_ARGUMENT);
    EXPECT_EQ(lastLibraryError(), "the cache path is empty");
    EXPECT_EQ(PC_BuildCacheFromMemory("", cloud.xyz.data(), nullptr, 10, 0.001, nullptr, nullptr), PC_BAD_ARGUMENT);
    EXPECT_EQ(lastLibraryError(), "the cache path is empty");
    for (int64_t count : {int64_t{0}, int64_t{-5}}) {
        EXPECT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), nullptr, count, 0.001, nullptr, nullptr), PC_BAD_ARGUMENT);
        EXPECT_EQ(lastLibraryError(), "the cloud is empty or the pointer is null");
    }
    EXPECT_EQ(PC_BuildCacheFromMemory(path.c_str(), nullptr, nullptr, 10, 0.001, nullptr, nullptr), PC_BAD_ARGUMENT);
    EXPECT_EQ(lastLibraryError(), "the cloud is empty or the pointer is null");

    const double wide[6] = {0, 0, 0, 300000, 10, 10};  // 300 km at 0.1 mm does not fit 31 bits
    EXPECT_EQ(PC_BuildCacheFromMemory(path.c_str(), wide, nullptr, 2, 0.0001, nullptr, nullptr), PC_BAD_ARGUMENT);
    EXPECT_FALSE(exists(path));

    const std::string missing = dir.file("no/such/folder/c.ovcf");
    EXPECT_EQ(PC_BuildCacheFromMemory(missing.c_str(), cloud.xyz.data(), nullptr, cloud.count(), 0.001, nullptr, nullptr),
              PC_OPEN_FAILED);
    EXPECT_EQ(lastLibraryError().rfind("cannot create file '" + missing + "'", 0), 0u) << lastLibraryError();
}

TEST(CacheExportsTest, BuiltCacheMatchesTheSameCloudInAnotherOrder) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(120000, 2);
    const std::string path = dir.file("field_cache.ovcf");
    ASSERT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(), 0.001,
                                      nullptr, nullptr),
              PC_OK)
        << lastLibraryError();
    const Cloud other = shuffled(cloud);
    uint64_t signature = 0;
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), other.xyz.data(), other.colours.data(), other.count(), &signature), PC_OK);
    EXPECT_NE(signature, 0u);
    EXPECT_EQ(PC_CheckCache(path.c_str(), other.count(), signature), PC_CACHE_MATCHES);
    EXPECT_EQ(lastLibraryError(), "the cache matches the cloud");

    // Another colour for one point is another cloud.
    Cloud recoloured = other;
    recoloured.colours[17] ^= 0x010000u;
    uint64_t changed = 0;
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), recoloured.xyz.data(), recoloured.colours.data(), recoloured.count(), &changed), PC_OK);
    EXPECT_EQ(PC_CheckCache(path.c_str(), recoloured.count(), changed), PC_CACHE_MODIFIED);
}

TEST(CacheExportsTest, CloudWithoutColoursIgnoresColoursInItsSignature) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(3000, 3);
    const std::string path = dir.file("grey.ovcf");
    ASSERT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), nullptr, cloud.count(), 0.0, nullptr, nullptr), PC_OK)
        << lastLibraryError();
    uint64_t withoutColours = 0, withColours = 0;
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), nullptr, cloud.count(), &withoutColours), PC_OK);
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(), &withColours), PC_OK);
    EXPECT_EQ(withoutColours, withColours);
    EXPECT_EQ(PC_CheckCache(path.c_str(), cloud.count(), withoutColours), PC_CACHE_MATCHES);
}

struct ProgressLog {
    std::vector<double> fractions;
    int cancelAfter = -1;  // calls; -1 never
    static int callback(double fraction, void* context) {
        auto* self = static_cast<ProgressLog*>(context);
        self->fractions.push_back(fraction);
        return self->cancelAfter < 0 || static_cast<int>(self->fractions.size()) <= self->cancelAfter;
    }
};

TEST(CacheExportsTest, ProgressRisesToOneAndZeroCancels) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(600000, 4);
    const std::string path = dir.file("p.ovcf");
    ProgressLog log;
    ASSERT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(), 0.001,
                                      &ProgressLog::callback, &log),
              PC_OK)
        << lastLibraryError();
    ASSERT_GE(log.fractions.size(), 4u);
    EXPECT_TRUE(std::is_sorted(log.fractions.begin(), log.fractions.end()));
    EXPECT_LE(log.fractions.front(), 0.15);
    EXPECT_DOUBLE_EQ(log.fractions[2], 0.15);  // three batches read: the reading share
    EXPECT_DOUBLE_EQ(log.fractions.back(), 1.0);

    for (int cancelAfter : {1, 5}) {  // while reading, while indexing
        ProgressLog cancelling;
        cancelling.cancelAfter = cancelAfter;
        const std::string cancelled = dir.file("cancelled.ovcf");
        EXPECT_EQ(PC_BuildCacheFromMemory(cancelled.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(),
                                          0.001, &ProgressLog::callback, &cancelling),
                  PC_OPEN_FAILED);
        EXPECT_EQ(lastLibraryError(), "operation cancelled");
        EXPECT_FALSE(exists(cancelled));
    }
}

TEST(CacheExportsTest, CheckAnswersEveryCode) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(5000, 6);
    const std::string path = dir.file("check.ovcf");
    ASSERT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(), 0.001,
                                      nullptr, nullptr),
              PC_OK);
    uint64_t signature = 0;
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), cloud.colours.data(), cloud.count(), &signature), PC_OK);

    EXPECT_EQ(PC_CheckCache(nullptr, 5000, signature), PC_CACHE_MISSING);
    EXPECT_EQ(lastLibraryError(), "the cache path is empty");
    EXPECT_EQ(PC_CheckCache(dir.file("none.ovcf").c_str(), 5000, signature), PC_CACHE_MISSING);
    EXPECT_EQ(lastLibraryError(), "cache file does not exist");
    EXPECT_EQ(PC_CheckCache(path.c_str(), 4000, signature), PC_CACHE_COUNT_DIFFERS);
    EXPECT_EQ(lastLibraryError(), "the cloud has 4000 points, the cache has 5000");
    EXPECT_EQ(PC_CheckCache(path.c_str(), -7, signature), PC_CACHE_COUNT_DIFFERS);
    EXPECT_EQ(lastLibraryError(), "the cloud has 0 points, the cache has 5000");

    // The same cloud moved 10 cm east.
    Cloud moved = cloud;
    for (std::size_t i = 0; i < moved.xyz.size(); i += 3) moved.xyz[i] += 0.1;
    uint64_t movedSignature = 0;
    ASSERT_EQ(PC_ComputeSignature(path.c_str(), moved.xyz.data(), moved.colours.data(), moved.count(), &movedSignature), PC_OK);
    EXPECT_EQ(PC_CheckCache(path.c_str(), moved.count(), movedSignature), PC_CACHE_MODIFIED);
    EXPECT_EQ(lastLibraryError(), "same number of points but different content (moved, georeferenced or edited)");

    const uint64_t zero = 0;
    patch(path, 208, &zero, 8);
    EXPECT_EQ(PC_CheckCache(path.c_str(), 5000, signature), PC_CACHE_NO_SIGNATURE);
    EXPECT_EQ(lastLibraryError(), "the cache has no content signature");

    const uint16_t minor = 2;  // written by a version 1.2 module
    patch(path, 6, &minor, 2);
    EXPECT_EQ(PC_CheckCache(path.c_str(), 5000, signature), PC_CACHE_NEWER_VERSION);
    EXPECT_EQ(lastLibraryError(), "the cache was written by a newer version of the module");
    uint64_t out = 1;
    EXPECT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), nullptr, cloud.count(), &out), PC_OPEN_FAILED);
    EXPECT_EQ(out, 0u);

    std::ofstream(dir.file("junk.ovcf"), std::ios::binary) << std::string(600, 'x');
    EXPECT_EQ(PC_CheckCache(dir.file("junk.ovcf").c_str(), 5000, signature), PC_CACHE_INVALID);
    EXPECT_EQ(lastLibraryError().rfind("not a valid .ovcf file: ", 0), 0u) << lastLibraryError();
}

TEST(CacheExportsTest, ComputeSignatureArgumentChecks) {
    TempDir dir("exports");
    const Cloud cloud = fieldCloud(50, 7);
    const std::string path = dir.file("s.ovcf");
    ASSERT_EQ(PC_BuildCacheFromMemory(path.c_str(), cloud.xyz.data(), nullptr, cloud.count(), 0.001, nullptr, nullptr), PC_OK);
    EXPECT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), nullptr, cloud.count(), nullptr), PC_BAD_ARGUMENT);
    EXPECT_EQ(lastLibraryError(), "outHash is null");
    uint64_t out = 5;
    EXPECT_EQ(PC_ComputeSignature(nullptr, cloud.xyz.data(), nullptr, cloud.count(), &out), PC_BAD_ARGUMENT);
    EXPECT_EQ(out, 0u);
    EXPECT_EQ(lastLibraryError(), "invalid arguments");
    EXPECT_EQ(PC_ComputeSignature(path.c_str(), nullptr, nullptr, cloud.count(), &out), PC_BAD_ARGUMENT);
    EXPECT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), nullptr, -1, &out), PC_BAD_ARGUMENT);
    out = 5;
    EXPECT_EQ(PC_ComputeSignature(path.c_str(), cloud.xyz.data(), nullptr, 0, &out), PC_OK);
    EXPECT_EQ(out, 0u);
    out = 5;
    EXPECT_EQ(PC_ComputeSignature(dir.file("missing.ovcf").c_str(), cloud.xyz.data(), nullptr, 0, &out), PC_OPEN_FAILED);
    EXPECT_EQ(out, 0u);
    EXPECT_EQ(lastLibraryError(), "cache file does not exist");
}

TEST(CacheExportsTest, CachePathForFollowsTheCopyOutRule) {
    EXPECT_EQ(PC_CachePathFor(nullptr, nullptr, 0), 0);
    const std::string expected = "C:\\Rilievi\\scan_cache.ovcf";
    EXPECT_EQ(PC_CachePathFor("C:\\Rilievi\\scan.e57", nullptr, 0), static_cast<int>(expected.size()) + 1);
    char buffer[64];
    EXPECT_EQ(PC_CachePathFor("C:\\Rilievi\\scan.e57", buffer, sizeof buffer), static_cast<int>(expected.size()) + 1);
    EXPECT_EQ(std::string(buffer), expected);
    char small[8];
    EXPECT_EQ(PC_CachePathFor("C:\\Rilievi\\scan.e57", small, sizeof small), static_cast<int>(expected.size()) + 1);
    EXPECT_EQ(std::string(small), expected.substr(0, 7));
}

}  // namespace
}  // namespace cache_exports
