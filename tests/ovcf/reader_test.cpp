// Opening and reading files, with every way a file can be refused or a node fail to read.
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>

#include "OvcfTestFiles.h"
#include "TestSupport.h"
#include "ovcf/Crc32.h"
#include "ovcf/OvcfReader.h"

using namespace ovcf;
using namespace ovcf::test;

namespace {

class OvcfReaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        params_ = testParams(2, true);
        nodes_ = makeTree(params_, 400);
        std::string error;
        ASSERT_TRUE(writeTestFile(dir_.file("good.ovcf"), params_, nodes_, error)) << error;
        good_ = readBytes(dir_.file("good.ovcf"));
    }

    // Writes a damaged copy and returns open's message ("" when it opened).
    std::string openDamaged(const std::vector<std::uint8_t>& bytes) {
        const std::string path = dir_.file("damaged.ovcf");
        writeBytes(path, bytes);
        std::string error;
        if (reader_.open(path, error)) return "";
        EXPECT_FALSE(reader_.isOpen());
        EXPECT_TRUE(reader_.path().empty());
        EXPECT_TRUE(reader_.nodes().empty());
        return error;
    }

    // A copy of the good file with one header field replaced.
    template <typename T>
    std::string openWithHeaderField(std::size_t offset, T value) {
        std::vector<std::uint8_t> bytes = good_;
        patch(bytes, offset, value);
        return openDamaged(bytes);
    }

    TempDir dir_;
    OvcfWriterParams params_;
    std::vector<TestNode> nodes_;
    std::vector<std::uint8_t> good_;
    OvcfReader reader_;
};

bool startsWithAndHasReason(const std::string& text, const std::string& prefix) {
    return text.rfind(prefix, 0) == 0 && text.size() > prefix.size();
}

}  // namespace

TEST_F(OvcfReaderTest, RefusesFilesThatCannotBeOpenedOrAreTooSmall) {
    std::string error;
    const std::string missing = dir_.file("missing.ovcf");
    EXPECT_FALSE(reader_.open(missing, error));
    EXPECT_TRUE(startsWithAndHasReason(error, "cannot open '" + missing + "': ")) << error;
    EXPECT_EQ(error.find("unknown error"), std::string::npos) << error;

    std::vector<std::uint8_t> small(good_.begin(), good_.begin() + 511);
    EXPECT_EQ(openDamaged(small), "'" + dir_.file("damaged.ovcf") + "' is too small to be a .ovcf file");

    // A folder opens on some systems and then cannot be read; either way it is refused with the
    // system's reason.
    EXPECT_FALSE(reader_.open(dir_.path(), error));
    EXPECT_TRUE(startsWithAndHasReason(error, "reading the header failed: ") ||
                startsWithAndHasReason(error, "cannot open '" + dir_.path() + "': "))
        << error;
}

TEST_F(OvcfReaderTest, ValidatesTheHeaderInOrderWithTheItalianMessages) {
    EXPECT_EQ(openWithHeaderField<std::uint8_t>(0, 'X'), "non e' un file .ovcf (firma iniziale errata)");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(4, 0x00000002),
              "versione di formato 2.0 non supportata (questo programma legge la 1.x)");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(12, 3), "formato punto 3 sconosciuto");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(16, 15), "dimensione del record punto incoerente con il formato dichiarato");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(20, 0), "il file non contiene nodi");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(140, 0), "dimensione del cubo radice non valida");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(140, 33), "dimensione del cubo radice non valida");
    EXPECT_EQ(openWithHeaderField<std::uint32_t>(20, 13),
              "dimensione della tabella gerarchia incoerente con il numero di nodi");
    EXPECT_EQ(openWithHeaderField<std::uint64_t>(184, peek<std::uint64_t>(good_, 184) + 1),
              "dimensione della bitmap 'deleted' incoerente con il numero di punti");
    const char* truncated = "il file e' troncato (le sezioni finali escono dalla sua dimensione)";
    EXPECT_EQ(openWithHeaderField<std::uint64_t>(176, good_.size()), truncated);
    // Offsets so large that offset + size wraps around are still beyond the file.
    EXPECT_EQ(openWithHeaderField<std::uint64_t>(160, ~0ull - 100), truncated);
    std::vector<std::uint8_t> cut(good_.begin(), good_.begin() + std::ptrdiff_t(peek<std::uint64_t>(good_, 176)));
    EXPECT_EQ(openDamaged(cut), truncated);

    // The first failing check wins: a bad magic hides a bad version.
    std::vector<std::uint8_t> both = good_;
    both[1] = 'X';
    patch<std::uint16_t>(both, 4, 7);
    EXPECT_EQ(openDamaged(both), "non e' un file .ovcf (firma iniziale errata)");
}

TEST_F(OvcfReaderTest, AcceptsAnyMinorVersionButTheProbeAnswersNewer) {
    std::vector<std::uint8_t> bytes = good_;
    patch<std::uint16_t>(bytes, 6, 3);
    EXPECT_EQ(openDamaged(bytes), "");
    EXPECT_EQ(reader_.header().versionMinor, 3);

    FileHeader header;
    std::string error;
    EXPECT_EQ(OvcfReader::probeHeader(dir_.file("damaged.ovcf"), header, error), ProbeNewer);
    EXPECT_EQ(error, "the cache was written by a newer version of the module");
}

TEST_F(OvcfReaderTest, ProbeReadsOnlyTheHeader) {
    FileHeader header;
    std::string error;
    ASSERT_EQ(OvcfReader::probeHeader(dir_.file("good.ovcf"), header, error), ProbeValid) << error;
    EXPECT_EQ(header.nodeCount, nodes_.size());

    EXPECT_EQ(OvcfReader::probeHeader(dir_.file("absent.ovcf"), header, error), ProbeMissing);
    EXPECT_EQ(error, "cache file does not exist");

    std::vector<std::uint8_t> bytes = good_;
    bytes[0] = 'o';
    writeBytes(dir_.file("bad.ovcf"), bytes);
    EXPECT_EQ(OvcfReader::probeHeader(dir_.file("bad.ovcf"), header, error), ProbeUnreadable);
    EXPECT_EQ(error, "not a valid .ovcf file: non e' un file .ovcf (firma iniziale errata)");

    writeBytes(dir_.file("short.ovcf"), std::vector<std::uint8_t>(good_.begin(), good_.begin() + 100));
    EXPECT_EQ(OvcfReader::probeHeader(dir_.file("short.ovcf"), header, error), ProbeUnreadable);
    EXPECT_TRUE(startsWithAndHasReason(error, "cannot read the cache header: ")) << error;
}

TEST_F(OvcfReaderTest, ValidationWithoutAFileSizeSkipsOnlyTheSizeCheck) {
    FileHeader header = decodeHeader(good_.data());
    header.deletedMapOffset = 1ull << 50;
    std::string error;
    EXPECT_TRUE(OvcfReader::validateHeader(header, 0, error)) << error;
    EXPECT_FALSE(OvcfReader::validateHeader(header, good_.size(), error));
    header.nodeCount = 0;
    EXPECT_FALSE(OvcfReader::validateHeader(header, 0, error));
    EXPECT_EQ(error, "il file non contiene nodi");
}

TEST_F(OvcfReaderTest, ChecksTheFirstPointIndexesAndTheirSum) {
    std::vector<std::uint8_t> bytes = good_;
    patch(bytes, recordField(bytes, 4, 40), peek<std::uint64_t>(bytes, recordField(bytes, 4, 40)) + 1);
    EXPECT_EQ(openDamaged(bytes), "inconsistent hierarchy table: wrong first-point index at node 4");

    // The last record's first point is right but its count overshoots the header's total.
    bytes = good_;
    const std::size_t last = nodes_.size() - 1;
    patch(bytes, recordField(bytes, last, 4), peek<std::uint32_t>(bytes, recordField(bytes, last, 4)) + 1);
    EXPECT_EQ(openDamaged(bytes),
              "inconsistent hierarchy table: the sum of the node point counts does not match the total declared in "
              "the header");

    // A failed open leaves nothing behind, and the reader opens a good file afterwards.
    std::string error;
    std::vector<PointRecord> points(1);
    EXPECT_FALSE(reader_.readNode(0, points, error));
    EXPECT_EQ(error, ".ovcf file not open");
    EXPECT_TRUE(points.empty());
    ASSERT_TRUE(reader_.open(dir_.file("good.ovcf"), error)) << error;
    EXPECT_EQ(reader_.nodes().size(), nodes_.size());
    // Reopening under its own path: the path passed in is the one the reopen clears.
    ASSERT_TRUE(reader_.open(reader_.path(), error)) << error;
    EXPECT_EQ(reader_.path(), dir_.file("good.ovcf"));
}

TEST_F(OvcfReaderTest, NodeReadFailuresLeaveTheReaderUsable) {
    std::vector<std::uint8_t> bytes = good_;
    patch<std::uint32_t>(bytes, recordField(bytes, 2, 36), peek<std::uint32_t>(bytes, recordField(bytes, 2, 36)) + 18);
    patch<std::uint64_t>(bytes, recordField(bytes, 3, 24), bytes.size() - 10);
    // Node 5's block loses its last bytes: LZ4 stops short of the raw size.
    patch<std::uint32_t>(bytes, recordField(bytes, 5, 32), peek<std::uint32_t>(bytes, recordField(bytes, 5, 32)) - 7);
    // Node 6's block is garbage.
    const std::uint64_t block6 = peek<std::uint64_t>(bytes, recordField(bytes, 6, 24));
    for (std::size_t i = 0; i < 40; ++i) bytes[block6 + i] = std::uint8_t(0xF0 + i);
    ASSERT_EQ(openDamaged(bytes), "");

    std::vector<PointRecord> points(5);
    std::string error;
    EXPECT_FALSE(reader_.readNode(std::uint32_t(nodes_.size()), points, error));
    EXPECT_EQ(error, "node index out of range");
    EXPECT_TRUE(points.empty());
    EXPECT_FALSE(reader_.readNode(2, points, error));
    EXPECT_EQ(error, "node 2: decompressed size inconsistent with the point count");
    EXPECT_FALSE(reader_.readNode(3, points, error));
    EXPECT_TRUE(startsWithAndHasReason(error, "reading the block of node 3 failed: ")) << error;
    EXPECT_FALSE(reader_.readNode(5, points, error));
    EXPECT_EQ(error, "decompression of node 5 failed: corrupted data");
    EXPECT_FALSE(reader_.readNode(6, points, error));
    EXPECT_EQ(error, "decompression of node 6 failed: corrupted data");
    EXPECT_TRUE(reader_.isOpen());
    ASSERT_TRUE(reader_.readNode(4, points, error, true)) << error;
    EXPECT_EQ(points.size(), nodes_[4].points.size());
}

TEST_F(OvcfReaderTest, AFlippedBitIsCaughtOnlyWhenTheCrcIsChecked) {
    OvcfWriterParams raw = params_;
    raw.compression = false;
    std::string error;
    ASSERT_TRUE(writeTestFile(dir_.file("raw.ovcf"), raw, nodes_, error)) << error;
    std::vector<std::uint8_t> bytes = readBytes(dir_.file("raw.ovcf"));
    const std::size_t n = nodes_[3].points.size();
    const std::uint64_t block = peek<std::uint64_t>(bytes, recordField(bytes, 3, 24));
    const std::uint32_t storedCrc = peek<std::uint32_t>(bytes, recordField(bytes, 3, 20));
    // Bit 4 of the red byte (plane 14) of point 7.
    bytes[block + 14 * n + 7] ^= 0x10;
    const std::uint32_t damagedCrc = crc32(&bytes[block], n * 18);
    ASSERT_EQ(openDamaged(bytes), "");

    std::vector<PointRecord> points;
    ASSERT_TRUE(reader_.readNode(3, points, error, false)) << error;
    EXPECT_EQ(points[7].red, nodes_[3].points[7].red ^ 0x10);
    EXPECT_FALSE(reader_.readNode(3, points, error, true));
    char expected[128];
    std::snprintf(expected, sizeof expected, "nodo 3: CRC errato (atteso %08X, trovato %08X): dati danneggiati",
                  storedCrc, damagedCrc);
    EXPECT_EQ(error, expected);
    EXPECT_TRUE(reader_.readNode(2, points, error, true)) << error;
}

TEST_F(OvcfReaderTest, ReadsTheDeletedMapAndReportsWhenItIsGone) {
    std::vector<std::uint8_t> bytes = good_;
    const std::uint64_t mapOffset = peek<std::uint64_t>(bytes, 176);
    bytes[mapOffset] = 0x81;
    ASSERT_EQ(openDamaged(bytes), "");
    std::vector<std::uint8_t> map;
    std::string error;
    ASSERT_TRUE(reader_.readDeletedMap(map, error)) << error;
    ASSERT_EQ(map.size(), peek<std::uint64_t>(bytes, 184));
    EXPECT_EQ(map[0], 0x81);

    // The file shrinks under the open reader.
    std::filesystem::resize_file(dir_.file("damaged.ovcf"), mapOffset + 1);
    EXPECT_FALSE(reader_.readDeletedMap(map, error));
    EXPECT_TRUE(map.empty());
    EXPECT_TRUE(startsWithAndHasReason(error, "reading the 'deleted' map failed: ")) << error;

    OvcfReader closed;
    EXPECT_FALSE(closed.readDeletedMap(map, error));
    EXPECT_EQ(error, ".ovcf file not open");
}
