// A small cloud file with writers on it (each a reader and a deletion history, as a view holds
// them), and the independent check that the file's map, count and current signature agree.
#pragma once

#include <gtest/gtest.h>

#include "../import/ImportTestSupport.h"
#include "../streaming/StreamingTestSupport.h"
#include "TestSupport.h"
#include "cloud/CloudNodes.h"
#include "ovcf/CommitJournal.h"
#include "ovcf/ConfirmedState.h"
#include "ovcf/ContentSignature.h"
#include "ovcf/FileCheck.h"
#include "ovcf/OvcfReader.h"
#include "platform/SystemFile.h"
#include "selection/DeletionHistory.h"

namespace ovcf::test {

// The signature the file should carry: the hashes of its points not in `gone`.
inline std::uint64_t survivorsSignature(OvcfReader& reader, const PointBitmap& gone) {
    std::uint64_t sum = 0;
    std::vector<PointRecord> points;
    std::string error;
    for (std::uint32_t n = 0; n < reader.nodes().size(); ++n) {
        EXPECT_TRUE(reader.readNode(n, points, error)) << error;
        for (std::size_t j = 0; j < points.size(); ++j)
            if (!gone.test(reader.nodes()[n].firstPoint + j)) sum += pointHashForFormat(points[j], reader.header().pointFormat);
    }
    return sum;
}

// One writer: the file opened as a view opens it, with its own deletions.
struct Writer {
    explicit Writer(const std::string& path) {
        std::string error;
        EXPECT_TRUE(reader.open(path, error)) << error;
        ConfirmedState state;
        EXPECT_TRUE(readConfirmedState(reader.file(), path, state, error)) << error;
        warnWhenCountDisagrees(path, state);
        const FileHeader& h = reader.header();
        history.open(path, describeNodes(h, reader.nodes(), cloudReferencePoint(h)), state);
        selection.reset(h.pointCount);
    }
    // Deletes points [first, end).
    void remove(std::uint64_t first, std::uint64_t end) {
        for (std::uint64_t g = first; g < end; ++g) selection.set(g);
        bool changed = false;
        history.deleteSelected(selection, changed);
    }
    bool confirm() { return history.confirm(reader, wrote, error); }
    OvcfReader reader;
    DeletionHistory history;
    PointBitmap selection;
    std::string error;
    bool wrote = false;
};

class CommitFixture : public ::testing::Test {
protected:
    void SetUp() override {
        path = dir.file("cloud.ovcf");
        writeCloud(path, fullTree(2, 100));  // 73 nodes, 9.928 points
    }
    std::uint64_t pointCount() {
        FileHeader header;
        std::string error;
        EXPECT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;
        return header.pointCount;
    }
    PointBitmap rangeMap(std::uint64_t first, std::uint64_t end) {
        PointBitmap map;
        map.reset(pointCount());
        for (std::uint64_t g = first; g < end; ++g) map.set(g);
        return map;
    }
    // The file holds exactly `expected` as its map, the header counts it, the current signature
    // is that of the points it leaves, and the whole check agrees.
    void expectConsistent(const PointBitmap& expected) {
        std::string error;
        OvcfReader reader;
        ASSERT_TRUE(reader.open(path, error)) << error;
        ConfirmedState state;
        ASSERT_TRUE(readConfirmedState(reader.file(), path, state, error)) << error;
        EXPECT_TRUE(state.map == expected.words()) << "the map";
        EXPECT_EQ(state.header.deletedCount, expected.count());
        EXPECT_EQ(state.header.currentSignature, survivorsSignature(reader, expected));
        FileCheckResult result;
        std::string fault;
        EXPECT_TRUE(checkFile(path, true, result, fault)) << fault;
    }

    TempDir dir{"orvane_commit"};
    std::string path;
};

// Fails the first removal of a commit journal after keeping the file and the journal as they
// were at that instant: putting them back afterwards gives the state of a process that died
// between flushing the file and removing its journal.
class JournalKeeper {
public:
    explicit JournalKeeper(const std::string& path) : path_(path) { SystemFile::setFaultHook(&hook, this); }
    ~JournalKeeper() { SystemFile::setFaultHook(nullptr, nullptr); }
    // The crash state, back on disk.
    void leaveAsCrashed() const {
        writeFileBytes(path_, file_);
        writeFileBytes(journalPathOf(path_), journal_);
    }

private:
    static bool hook(SystemFile::Operation operation, void* context) {
        auto* self = static_cast<JournalKeeper*>(context);
        if (operation != SystemFile::Operation::Remove || self->kept_) return false;
        self->kept_ = true;
        self->file_ = fileBytes(self->path_);
        self->journal_ = fileBytes(journalPathOf(self->path_));
        return true;
    }
    std::string path_;
    bool kept_ = false;
    std::vector<std::uint8_t> file_, journal_;
};

}  // namespace ovcf::test
