// Several readers and a writer on one file at the same time, and paths beyond ASCII.
#include <gtest/gtest.h>

#include <atomic>
#include <filesystem>
#include <thread>

#include "OvcfTestFiles.h"
#include "TestSupport.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"

using namespace ovcf;
using namespace ovcf::test;

TEST(SharedAccess, FourReadersReadDifferentNodesWhileAWriterHoldsTheFile) {
    TempDir dir;
    const OvcfWriterParams params = testParams(2, true);
    const std::vector<TestNode> nodes = makeTree(params, 3000);
    const std::string path = dir.file("shared.ovcf");
    std::string error;
    ASSERT_TRUE(writeTestFile(path, params, nodes, error)) << error;

    // The commit of deletions opens the file for writing while readers are open; here it
    // rewrites the map with the zeros already there, over and over.
    SystemFile writer;
    ASSERT_TRUE(writer.open(path, SystemFile::Mode::ReadWrite)) << writer.lastErrorText();
    FileHeader header;
    ASSERT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;
    const std::vector<std::uint8_t> zeros(std::size_t(header.deletedMapSize), 0);

    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::thread committer([&] {
        while (!stop) {
            if (!writer.seek(header.deletedMapOffset) || !writer.write(zeros.data(), zeros.size())) ++failures;
        }
    });
    std::vector<std::thread> readers;
    std::vector<std::string> errors(4);
    for (std::uint32_t t = 0; t < 4; ++t) {
        readers.emplace_back([&, t] {
            OvcfReader reader;
            if (!reader.open(path, errors[t])) return;
            std::vector<PointRecord> points;
            for (int round = 0; round < 20; ++round) {
                for (std::uint32_t n = t; n < nodes.size(); n += 4) {
                    if (!reader.readNode(n, points, errors[t], true) || points.size() != nodes[n].points.size() ||
                        points.back() != nodes[n].points.back() || points.front() != nodes[n].points.front()) {
                        if (errors[t].empty()) errors[t] = "node " + std::to_string(n) + " read back wrong";
                        return;
                    }
                }
            }
        });
    }
    for (auto& thread : readers) thread.join();
    stop = true;
    committer.join();
    for (std::uint32_t t = 0; t < 4; ++t) EXPECT_EQ(errors[t], "") << "reader " << t;
    EXPECT_EQ(failures, 0);
}

TEST(SharedAccess, AFileBeingWrittenCanBeOpenedButIsNotYetValid) {
    TempDir dir;
    const OvcfWriterParams params = testParams(0, false);
    const std::vector<TestNode> nodes = makeTree(params, 50);
    OvcfWriter writer;
    std::string error;
    ASSERT_TRUE(writer.open(dir.file("growing.ovcf"), params, error)) << error;
    ASSERT_TRUE(writer.writeNode(nodes[0].key, nodes[0].points.data(), nodes[0].points.size(), error)) << error;
    // The placeholder header is zeros: the reader gets in, then refuses the content.
    OvcfReader reader;
    EXPECT_FALSE(reader.open(writer.temporaryPath(), error));
    EXPECT_EQ(error, "non e' un file .ovcf (firma iniziale errata)");
    for (std::size_t i = 1; i < nodes.size(); ++i)
        ASSERT_TRUE(writer.writeNode(nodes[i].key, nodes[i].points.data(), nodes[i].points.size(), error)) << error;
    ASSERT_TRUE(writer.close(error)) << error;
    EXPECT_TRUE(reader.open(dir.file("growing.ovcf"), error)) << error;
}

TEST(SharedAccess, PathsBeyondAsciiWorkForWritingReadingProbingAndDeleting) {
    TempDir dir;
    const std::string folder = dir.file("città_点云");
    std::filesystem::create_directories(fsPath(folder));
    const std::string path = folder + "/nuvola è 测试 ü.ovcf";
    const OvcfWriterParams params = testParams(1, true);
    const std::vector<TestNode> nodes = makeTree(params, 200);
    std::string error;
    ASSERT_TRUE(writeTestFile(path, params, nodes, error)) << error;
    const std::filesystem::path native = fsPath(path);
    EXPECT_TRUE(std::filesystem::exists(native));

    OvcfReader reader;
    ASSERT_TRUE(reader.open(path, error)) << error;
    EXPECT_EQ(reader.path(), path);
    std::vector<PointRecord> points;
    ASSERT_TRUE(reader.readNode(11, points, error, true)) << error;
    EXPECT_EQ(points.back(), keptFields(nodes[11].points.back(), 1));
    FileHeader header;
    EXPECT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;

    // An abandoned writer deletes its file under such a name too, even while a reader has it open.
    const std::string partial = folder + "/parziale ñ.ovcf";
    std::string temporary;
    {
        SystemFile watcher;  // outlives the writer
        OvcfWriter writer;
        ASSERT_TRUE(writer.open(partial, params, error)) << error;
        ASSERT_TRUE(writer.writeNode(nodes[0].key, nodes[0].points.data(), nodes[0].points.size(), error));
        temporary = writer.temporaryPath();
        ASSERT_TRUE(watcher.open(temporary, SystemFile::Mode::Read)) << watcher.lastErrorText();
    }
    for (const std::string& name : {partial, temporary})
        EXPECT_FALSE(std::filesystem::exists(fsPath(name)));

    const std::string missing = folder + "/assente è.ovcf";
    EXPECT_FALSE(reader.open(missing, error));
    EXPECT_EQ(error.rfind("cannot open '" + missing + "': ", 0), 0u) << error;
}
