// Damaged files of every shape are refused or read without crashing, reading out of bounds or
// allocating beyond what the file can justify; the fuzzer's findings are replayed here too.
#include <gtest/gtest.h>

#include <filesystem>

#include "OvcfTestFiles.h"
#include "TestSupport.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"

using namespace ovcf;
using namespace ovcf::test;

namespace {

// Opens, reads every node both ways and the map, and probes; every failure must explain itself.
// Returns whether the file opened.
bool exerciseReader(const std::string& path) {
    OvcfReader reader;
    std::string error;
    const bool opened = reader.open(path, error);
    if (!opened) {
        EXPECT_FALSE(error.empty());
    } else {
        std::vector<PointRecord> points;
        for (std::uint32_t i = 0; i < reader.nodes().size(); ++i) {
            for (bool verify : {false, true}) {
                error.clear();
                if (reader.readNode(i, points, error, verify))
                    EXPECT_EQ(points.size(), reader.nodes()[i].pointCount);
                else
                    EXPECT_FALSE(error.empty());
            }
        }
        std::vector<std::uint8_t> map;
        error.clear();
        if (!reader.readDeletedMap(map, error)) {
            EXPECT_FALSE(error.empty());
        }
    }
    FileHeader header;
    error.clear();
    if (OvcfReader::probeHeader(path, header, error) != ProbeValid) {
        EXPECT_FALSE(error.empty());
    }
    return opened;
}

}  // namespace

TEST(DamagedFiles, EveryByteOfEverySeedChangedIsHandled) {
    TempDir dir;
    std::string error;
    const std::vector<std::string> seeds = writeSeedFiles(dir.path(), error);
    ASSERT_FALSE(seeds.empty()) << error;
    const std::string damaged = dir.file("damaged.ovcf");
    for (const std::string& seed : seeds) {
        ASSERT_TRUE(exerciseReader(seed)) << seed;
        const std::vector<std::uint8_t> good = readBytes(seed);
        writeBytes(damaged, good);
        // One byte at a time is changed in place and put back, which keeps this quick.
        SystemFile file;
        ASSERT_TRUE(file.open(damaged, SystemFile::Mode::ReadWrite)) << file.lastErrorText();
        // The deep tree alone covers the blocks; the others vary the header and the hierarchy.
        const std::size_t end = seed.ends_with("deep.ovcf") ? good.size() : std::size_t(peek<std::uint64_t>(good, 176));
        for (std::size_t offset = 0; offset < end; ++offset) {
            for (std::uint8_t change : {std::uint8_t(0xFF), std::uint8_t(0x80)}) {
                const std::uint8_t value = good[offset] ^ change;
                ASSERT_TRUE(file.seek(offset) && file.write(&value, 1)) << file.lastErrorText();
                exerciseReader(damaged);
                if (HasFailure()) FAIL() << seed << " with byte " << offset << " changed by " << int(change);
            }
            ASSERT_TRUE(file.seek(offset) && file.write(&good[offset], 1)) << file.lastErrorText();
        }
    }
}

TEST(DamagedFiles, EveryTruncationIsRefused) {
    TempDir dir;
    std::string error;
    const std::vector<std::string> seeds = writeSeedFiles(dir.path(), error);
    ASSERT_FALSE(seeds.empty()) << error;
    const std::vector<std::uint8_t> good = readBytes(seeds[1]);
    const std::uint64_t mapEnd = peek<std::uint64_t>(good, 176) + peek<std::uint64_t>(good, 184);
    const std::string cut = dir.file("cut.ovcf");
    for (std::size_t length = 0; length < good.size(); ++length) {
        writeBytes(cut, std::vector<std::uint8_t>(good.begin(), good.begin() + std::ptrdiff_t(length)));
        // Only the metadata may be cut off without the file being refused.
        ASSERT_EQ(exerciseReader(cut), length >= mapEnd) << "length " << length;
    }
}

TEST(DamagedFiles, HugeDeclaredSizesAreRefusedBeforeAnythingIsAllocated) {
    TempDir dir;
    std::string error;
    const std::vector<std::string> seeds = writeSeedFiles(dir.path(), error);
    ASSERT_FALSE(seeds.empty()) << error;
    const std::vector<std::uint8_t> good = readBytes(seeds[0]);
    const std::string path = dir.file("huge.ovcf");
    const char* truncated = "il file e' troncato (le sezioni finali escono dalla sua dimensione)";
    OvcfReader reader;

    std::vector<std::uint8_t> bytes = good;  // four billion nodes, consistently declared
    patch<std::uint32_t>(bytes, 20, 0xFFFFFFFFu);
    patch<std::uint64_t>(bytes, 168, 0xFFFFFFFFull * 80);
    writeBytes(path, bytes);
    EXPECT_FALSE(reader.open(path, error));
    EXPECT_EQ(error, truncated);

    bytes = good;  // 2^63 points, consistently declared
    patch<std::uint64_t>(bytes, 24, 1ull << 63);
    patch<std::uint64_t>(bytes, 184, 1ull << 60);
    writeBytes(path, bytes);
    EXPECT_FALSE(reader.open(path, error));
    EXPECT_EQ(error, truncated);

    // The last node claims 100 more points than it has, consistently with the header, and a
    // stored block of 4 bytes: more than LZ4 can expand that to, so it is refused unread.
    bytes = good;
    const std::size_t last = peek<std::uint32_t>(bytes, 20) - 1;
    const std::uint64_t points = peek<std::uint64_t>(bytes, 24) + 100;
    patch<std::uint64_t>(bytes, 24, points);
    patch<std::uint64_t>(bytes, 184, deletedMapBytes(points));
    patch<std::uint32_t>(bytes, recordField(bytes, last, 4), peek<std::uint32_t>(bytes, recordField(bytes, last, 4)) + 100);
    patch<std::uint32_t>(bytes, recordField(bytes, last, 36), peek<std::uint32_t>(bytes, recordField(bytes, last, 36)) + 1200);
    patch<std::uint32_t>(bytes, recordField(bytes, last, 32), 4);
    writeBytes(path, bytes);
    ASSERT_TRUE(reader.open(path, error)) << error;
    std::vector<PointRecord> decoded;
    EXPECT_FALSE(reader.readNode(std::uint32_t(last), decoded, error));
    EXPECT_EQ(error, "decompression of node " + std::to_string(last) + " failed: corrupted data");
}

TEST(DamagedFiles, FuzzerFindingsStayFixed) {
    // Inputs that once broke the reader, kept by the fuzzing script's users; none may break it again.
    const std::filesystem::path folder = sourceFile("fuzz/regressions/ovcf_reader");
    std::error_code ignored;
    std::size_t replayed = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ignored)) {
        if (!entry.is_regular_file() || entry.path().filename() == "README.md") continue;
        const std::u8string name = entry.path().generic_u8string();
        exerciseReader(std::string(name.begin(), name.end()));
        ++replayed;
    }
    EXPECT_GT(replayed, 0u) << "no inputs in " << folder.string();
}
