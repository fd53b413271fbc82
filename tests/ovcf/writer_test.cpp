// Writing files: round trips through the reader, the layout of the sections, the hierarchy's
// child links, the signatures, and the refusals and clean-up of the writer.
#include <gtest/gtest.h>

#include <filesystem>
#include <mutex>

#include "OvcfTestFiles.h"
#include "TestSupport.h"
#include "core/Log.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/OvcfReader.h"
#include "ovcf/OvcfWriter.h"

using namespace ovcf;
using namespace ovcf::test;

namespace {

bool fileExists(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::exists(fsPath(path), ignored);
}

// Checks a written file against the nodes it was written from.
void expectFileHolds(const std::string& path, const OvcfWriterParams& params, const std::vector<TestNode>& nodes) {
    OvcfReader reader;
    std::string error;
    ASSERT_TRUE(reader.open(path, error)) << error;
    const FileHeader& h = reader.header();
    ASSERT_EQ(h.nodeCount, nodes.size());
    EXPECT_EQ(h.pointFormat, params.pointFormat);
    EXPECT_EQ(h.recordSize, recordSizeForFormat(params.pointFormat));
    EXPECT_EQ(h.flags, params.compression ? 1u : 0u);
    EXPECT_EQ(h.versionMajor, 1);
    EXPECT_EQ(h.versionMinor, 0);
    EXPECT_EQ(h.rootExponent, params.rootExponent);
    EXPECT_EQ(h.gridSize, params.gridSize);
    EXPECT_EQ(h.maxNodePoints, params.maxNodePoints);
    for (int a = 0; a < 3; ++a) {
        EXPECT_EQ(h.step[a], params.step[a]);
        EXPECT_EQ(h.offset[a], params.offset[a]);
        EXPECT_EQ(h.boundsMin[a], params.boundsMin[a]);
        EXPECT_EQ(h.boundsMax[a], params.boundsMax[a]);
        EXPECT_EQ(h.rootOrigin[a], params.rootOrigin[a]);
    }
    EXPECT_EQ(h.deletedCount, 0u);

    std::uint64_t total = 0, signature = 0;
    std::uint32_t deepest = 0;
    std::vector<PointRecord> points;
    for (std::uint32_t i = 0; i < nodes.size(); ++i) {
        const HierarchyRecord& record = reader.nodes()[i];
        EXPECT_EQ(record.key(), nodes[i].key);
        EXPECT_EQ(record.firstPoint, total);
        ASSERT_TRUE(reader.readNode(i, points, error, true)) << error;
        ASSERT_EQ(points.size(), nodes[i].points.size());
        for (std::size_t j = 0; j < points.size(); ++j)
            ASSERT_EQ(points[j], keptFields(nodes[i].points[j], params.pointFormat)) << "node " << i << " point " << j;
        // Child slots and mask name exactly the nodes written below this one.
        for (std::uint32_t o = 0; o < 8; ++o) {
            std::uint32_t expected = kNoChild;
            for (std::uint32_t c = 0; c < nodes.size(); ++c)
                if (nodes[c].key == childKey(nodes[i].key, o)) expected = c;
            EXPECT_EQ(record.children[o], expected) << "node " << i << " octant " << o;
            EXPECT_EQ((record.childMask >> o) & 1u, expected != kNoChild ? 1u : 0u);
        }
        total += points.size();
        signature += signatureOf(nodes[i].points.data(), nodes[i].points.size(), params.pointFormat);
        deepest = std::max(deepest, nodes[i].key.level);
    }
    EXPECT_EQ(h.pointCount, total);
    EXPECT_EQ(h.deepestLevel, deepest);
    EXPECT_EQ(h.buildSignature, signature);
    EXPECT_EQ(h.currentSignature, signature);

    std::vector<std::uint8_t> map;
    ASSERT_TRUE(reader.readDeletedMap(map, error)) << error;
    EXPECT_EQ(map.size(), (total + 7) / 8);
    EXPECT_TRUE(std::all_of(map.begin(), map.end(), [](std::uint8_t b) { return b == 0; }));
}

// Blocks packed from 512, then 16-aligned hierarchy, map right behind it, 16-aligned metadata.
void expectLayout(const std::string& path, const std::vector<TestNode>& nodes, const std::string& source) {
    const std::vector<std::uint8_t> file = readBytes(path);
    ASSERT_GE(file.size(), kHeaderSize);
    const FileHeader h = decodeHeader(file.data());
    std::uint64_t next = kHeaderSize;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        EXPECT_EQ(peek<std::uint64_t>(file, recordField(file, i, 24)), next) << "node " << i;
        next += peek<std::uint32_t>(file, recordField(file, i, 32));
    }
    EXPECT_EQ(h.hierarchyOffset, alignSection(next));
    for (std::uint64_t pad = next; pad < h.hierarchyOffset; ++pad) EXPECT_EQ(file[pad], 0);
    EXPECT_EQ(h.hierarchySize, nodes.size() * 80);
    EXPECT_EQ(h.deletedMapOffset, h.hierarchyOffset + h.hierarchySize);
    EXPECT_EQ(h.deletedMapSize, (h.pointCount + 7) / 8);
    const std::uint64_t mapEnd = h.deletedMapOffset + h.deletedMapSize;
    EXPECT_EQ(h.metadataOffset, alignSection(mapEnd));
    ASSERT_EQ(file.size(), h.metadataOffset + h.metadataSize);
    const std::string text(file.begin() + std::ptrdiff_t(h.metadataOffset), file.end());
    const std::string expectedStart = source.empty() ? "created=" : "source=" + source + "\ncreated=";
    EXPECT_EQ(text.rfind(expectedStart, 0), 0u) << text;
    EXPECT_EQ(text.size(), expectedStart.size() + 19 + 1 + 14) << text;
    EXPECT_TRUE(text.ends_with("\nmodule=0.10.0\n")) << text;
    for (std::size_t i = 232; i < kHeaderSize; ++i) ASSERT_EQ(file[i], 0) << "reserved byte " << i;
}

struct CapturedLog {
    std::mutex lock;
    std::vector<std::pair<int, std::string>> lines;
    static void sink(int level, const char* message, void* user) {
        auto* self = static_cast<CapturedLog*>(user);
        std::lock_guard<std::mutex> guard(self->lock);
        self->lines.emplace_back(level, message);
    }
};

}  // namespace

TEST(OvcfWriter, MultiNodeFilesRoundTripInEveryFormatWithAndWithoutCompression) {
    TempDir dir;
    for (std::uint32_t format = 0; format <= 2; ++format) {
        for (bool compression : {false, true}) {
            SCOPED_TRACE("format " + std::to_string(format) + (compression ? " lz4" : " raw"));
            const OvcfWriterParams params = testParams(format, compression);
            const std::vector<TestNode> nodes = makeTree(params, 700);
            const std::string path = dir.file("tree" + std::to_string(format) + (compression ? "c" : "r") + ".ovcf");
            OvcfWriter writer;
            std::string error;
            ASSERT_TRUE(writer.open(path, params, error)) << error;
            std::uint64_t stored = 0, raw = 0, points = 0;
            for (const TestNode& node : nodes) {
                ASSERT_TRUE(writer.writeNode(node.key, node.points.data(), node.points.size(), error)) << error;
                const HierarchyRecord& record = writer.nodes().back();
                stored += record.storedSize;
                raw += record.rawSize;
                points += node.points.size();
                // Compressed exactly when it got smaller; these smooth planes always do.
                EXPECT_EQ(record.storedSize < record.rawSize, compression);
            }
            ASSERT_TRUE(writer.close(error)) << error;
            EXPECT_EQ(writer.pointsWritten(), points);
            EXPECT_EQ(writer.storedBytes(), stored);
            EXPECT_EQ(writer.rawBytes(), raw);
            EXPECT_EQ(writer.deepestLevel(), 3u);
            expectFileHolds(path, params, nodes);
            expectLayout(path, nodes, params.source);
            const std::vector<std::uint8_t> file = readBytes(path);
            const FileHeader h = decodeHeader(file.data());
            EXPECT_EQ(writer.fileSize(), h.deletedMapOffset + h.deletedMapSize);
            EXPECT_EQ(writer.signature(), h.buildSignature);
        }
    }
}

TEST(OvcfWriter, NinePointsGiveATwoByteMapAndMetadataAlignedAfterIt) {
    TempDir dir;
    OvcfWriterParams params = testParams(0, false);
    params.source.clear();
    const std::vector<TestNode> nodes{{{0, 0, 0, 0}, pointsInNode(params, {0, 0, 0, 0}, 9, 2)}};
    std::string error;
    ASSERT_TRUE(writeTestFile(dir.file("nine.ovcf"), params, nodes, error)) << error;
    const FileHeader h = decodeHeader(readBytes(dir.file("nine.ovcf")).data());
    EXPECT_EQ(h.deletedMapSize, 2u);
    // 512 + 108 bytes of block, hierarchy at 624, map at 704..706, metadata at 720.
    EXPECT_EQ(h.hierarchyOffset, 624u);
    EXPECT_EQ(h.deletedMapOffset, 704u);
    EXPECT_EQ(h.metadataOffset, 720u);
    expectLayout(dir.file("nine.ovcf"), nodes, "");
}

TEST(OvcfWriter, StoresBlocksRawWhenCompressionDoesNotPayAndEmptyNodesAsNothing) {
    TempDir dir;
    const OvcfWriterParams params = testParams(2, true);
    NodeKey child = childKey({0, 0, 0, 0}, 6);
    // One point does not compress; an empty node has no block at all; identical points do.
    std::vector<TestNode> nodes{{{0, 0, 0, 0}, pointsInNode(params, {0, 0, 0, 0}, 1, 9)},
                                {child, {}},
                                {childKey(child, 1), std::vector<PointRecord>(5000, pointsInNode(params, childKey(child, 1), 1, 4)[0])}};
    std::string error;
    ASSERT_TRUE(writeTestFile(dir.file("mixed.ovcf"), params, nodes, error)) << error;
    OvcfReader reader;
    ASSERT_TRUE(reader.open(dir.file("mixed.ovcf"), error)) << error;
    const auto& records = reader.nodes();
    EXPECT_EQ(records[0].storedSize, 18u);
    EXPECT_EQ(records[0].rawSize, 18u);
    EXPECT_EQ(records[1].storedSize, 0u);
    EXPECT_EQ(records[1].rawSize, 0u);
    EXPECT_EQ(records[1].crc, 0u);
    EXPECT_EQ(records[1].blockOffset, records[2].blockOffset);
    EXPECT_LT(records[2].storedSize, records[2].rawSize / 50);
    std::vector<PointRecord> points(3);
    EXPECT_TRUE(reader.readNode(1, points, error, true)) << error;
    EXPECT_TRUE(points.empty());
    expectFileHolds(dir.file("mixed.ovcf"), params, nodes);
}

TEST(OvcfWriter, RefusesNodesOutOfOrderTwiceOrTooLargeAndRecordsNothing) {
    TempDir dir;
    const OvcfWriterParams params = testParams(2, true);
    const std::vector<PointRecord> some = pointsInNode(params, {0, 0, 0, 0}, 10, 1);
    OvcfWriter writer;
    std::string error;
    EXPECT_FALSE(writer.writeNode({0, 0, 0, 0}, some.data(), some.size(), error));
    EXPECT_EQ(error, "OvcfWriter: file not open");
    EXPECT_FALSE(writer.close(error));
    EXPECT_EQ(error, "OvcfWriter: file not open");

    ASSERT_TRUE(writer.open(dir.file("refusals.ovcf"), params, error)) << error;
    EXPECT_FALSE(writer.open(dir.file("other.ovcf"), params, error));
    EXPECT_EQ(error, "OvcfWriter: file already open");

    EXPECT_FALSE(writer.writeNode({2, 3, 0, 1}, some.data(), some.size(), error));
    EXPECT_EQ(error, "node r15 written before its parent (internal indexer error)");
    EXPECT_EQ(writer.nodeCount(), 0u);
    EXPECT_EQ(writer.pointsWritten(), 0u);
    EXPECT_EQ(writer.signature(), 0u);

    ASSERT_TRUE(writer.writeNode({0, 0, 0, 0}, some.data(), some.size(), error)) << error;
    EXPECT_FALSE(writer.writeNode({0, 0, 0, 0}, some.data(), some.size(), error));
    EXPECT_EQ(error, "node r written twice");
    // Checked before a single point is touched.
    EXPECT_FALSE(writer.writeNode({1, 1, 1, 0}, nullptr, std::size_t{0xFFFFFFFF} / 18 + 1, error));
    EXPECT_EQ(error, "node r3: too many points for a single node");
    EXPECT_EQ(writer.nodeCount(), 1u);
    EXPECT_EQ(writer.pointsWritten(), 10u);

    // The refused child left its block in the file, which must not confuse the reader: the next
    // node's record points at its own block.
    const std::vector<PointRecord> child = pointsInNode(params, {1, 1, 1, 0}, 20, 2);
    ASSERT_TRUE(writer.writeNode({1, 1, 1, 0}, child.data(), child.size(), error)) << error;
    ASSERT_TRUE(writer.close(error)) << error;
    expectFileHolds(dir.file("refusals.ovcf"), params, {{{0, 0, 0, 0}, some}, {{1, 1, 1, 0}, child}});
}

TEST(OvcfWriter, RefusesBadParametersAndUncreatableFiles) {
    TempDir dir;
    OvcfWriterParams params = testParams(1, true);
    params.boundsMax[1] = params.boundsMin[1] - 1.0;
    OvcfWriter writer;
    std::string error;
    EXPECT_FALSE(writer.open(dir.file("bad.ovcf"), params, error));
    EXPECT_EQ(error, "OvcfWriter: invalid bounding box");
    EXPECT_FALSE(fileExists(dir.file("bad.ovcf")));

    const std::string path = dir.file("missing folder/x.ovcf");
    EXPECT_FALSE(writer.open(path, testParams(1, true), error));
    const std::string prefix = "cannot create file '" + path + "': ";
    ASSERT_EQ(error.rfind(prefix, 0), 0u) << error;
    EXPECT_GT(error.size(), prefix.size());
    EXPECT_EQ(error.find("unknown error"), std::string::npos) << error;
}

TEST(OvcfWriter, EmptyCloudIsRefusedAndItsFileDeletedWithAWarning) {
    TempDir dir;
    CapturedLog log;
    setLogSink(&CapturedLog::sink, &log);
    const std::string path = dir.file("empty.ovcf");
    std::string temporary;
    {
        OvcfWriter writer;
        std::string error;
        ASSERT_TRUE(writer.open(path, testParams(0, true), error)) << error;
        temporary = writer.temporaryPath();
        EXPECT_EQ(temporary.rfind(path + ".", 0), 0u) << temporary << " is not beside the target";
        EXPECT_TRUE(fileExists(temporary));
        EXPECT_FALSE(fileExists(path)) << "only a successful close puts the file in place";
        EXPECT_FALSE(writer.close(error));
        EXPECT_EQ(error, "no node written: the cloud is empty");
    }
    setLogSink(nullptr, nullptr);
    EXPECT_FALSE(fileExists(path));
    EXPECT_FALSE(fileExists(temporary));
    ASSERT_EQ(log.lines.size(), 1u);
    EXPECT_EQ(log.lines[0].first, LogWarn);
    EXPECT_EQ(log.lines[0].second, "import interrotto: cancello il file parziale '" + temporary + "'");
}

// An abandoned writer's file goes too: the shared-access test checks that while a reader holds it.
TEST(OvcfWriter, AFinishedFileTakesTheTemporaryOnesPlace) {
    TempDir dir;
    const OvcfWriterParams params = testParams(2, true);
    const std::vector<TestNode> nodes = makeTree(params, 100);
    std::string error;
    std::string temporary;
    {
        OvcfWriter writer;
        ASSERT_TRUE(writer.open(dir.file("done.ovcf"), params, error)) << error;
        temporary = writer.temporaryPath();
        for (const TestNode& node : nodes)
            ASSERT_TRUE(writer.writeNode(node.key, node.points.data(), node.points.size(), error));
        ASSERT_TRUE(writer.close(error)) << error;
        EXPECT_TRUE(writer.isFinished());
    }
    EXPECT_TRUE(fileExists(dir.file("done.ovcf")));
    EXPECT_FALSE(fileExists(temporary));
}
