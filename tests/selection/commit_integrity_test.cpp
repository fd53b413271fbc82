// Confirmed deletions never land in the wrong file, never drop another writer's deletions, and
// never leave a map, count and signature that disagree: a file replaced under an open history,
// two writers on one file (in turn and at once, on threads), a file whose count disagrees with
// its map, and a commit interrupted with its journal still beside the file.
#include <gtest/gtest.h>

#include <bit>
#include <thread>

#include "CommitTestSupport.h"
#include "selection/PointReadBack.h"

namespace ovcf::test {
namespace {

TEST_F(CommitFixture, AFileReplacedSinceOpeningIsNeverWritten) {
    Writer view(path);
    view.remove(0, 500);
    // The cache is rebuilt at the same path (a new file renamed over the old one).
    const std::string rebuilt = dir.file("rebuilt.ovcf");
    writeCloud(rebuilt, fullTree(1, 300));
    std::string error;
    ASSERT_TRUE(SystemFile::replaceFile(rebuilt, path, error)) << error;
    const std::vector<std::uint8_t> fresh = fileBytes(path);

    EXPECT_FALSE(view.confirm());
    EXPECT_EQ(view.error, kFileReplacedText);
    EXPECT_TRUE(fileBytes(path) == fresh) << "the new file was written";
    EXPECT_TRUE(view.history.hasUnsavedChanges());
    EXPECT_EQ(view.history.undoDepth(), 1u);
    EXPECT_EQ(view.history.deletedCount(), 500u);

    // The survivors still come from the file the view opened, not from the one now at the path.
    std::vector<double> xyz(3 * view.reader.header().pointCount);
    const ReadBackSource source{path, &view.reader, &view.history.deleted(), &view.history.deletedInNode(), nullptr, {}};
    const HostPointBuffers out{xyz.data(), nullptr, nullptr, static_cast<std::int64_t>(xyz.size() / 3)};
    EXPECT_EQ(readSurvivingPoints(source, out, false, error),
              static_cast<std::int64_t>(view.reader.header().pointCount - 500));
}

TEST_F(CommitFixture, TwoWritersInTurnEndWithTheUnionAndAgreeingHeader) {
    Writer first(path), second(path);
    first.remove(0, 400);
    second.remove(300, 900);  // overlaps the first writer's range
    ASSERT_TRUE(first.confirm()) << first.error;
    ASSERT_TRUE(second.confirm()) << second.error;
    expectConsistent(rangeMap(0, 900));
    EXPECT_EQ(second.history.deletedCount(), 900u) << "the other writer's deletions are taken over";
    EXPECT_TRUE(second.history.adoptedOtherChanges());

    // The first writer brings part of its own range back; the second writer's stay deleted.
    bool changed = false;
    first.history.restoreAll(changed);
    ASSERT_TRUE(first.confirm()) << first.error;
    expectConsistent(rangeMap(400, 900));
    EXPECT_EQ(first.history.deletedCount(), 500u);
}

TEST_F(CommitFixture, WritersOnThreadsCommittingAtOnceLoseNothing) {
    constexpr int kWriters = 3, kCommits = 6;
    std::vector<std::thread> threads;
    std::vector<std::string> errors(kWriters);
    for (int w = 0; w < kWriters; ++w)
        threads.emplace_back([&, w] {
            Writer writer(path);
            for (int c = 0; c < kCommits; ++c) {
                const std::uint64_t first = 100u * static_cast<std::uint64_t>(kCommits * w + c);
                writer.remove(first, first + 50);
                if (!writer.confirm()) break;
            }
            errors[w] = writer.error;
        });
    for (std::thread& thread : threads) thread.join();
    PointBitmap expected;
    expected.reset(pointCount());
    for (int w = 0; w < kWriters; ++w) {
        EXPECT_EQ(errors[w], "");
        for (int c = 0; c < kCommits; ++c) {
            const std::uint64_t first = 100u * static_cast<std::uint64_t>(kCommits * w + c);
            for (std::uint64_t g = first; g < first + 50; ++g) expected.set(g);
        }
    }
    expectConsistent(expected);
}

TEST_F(CommitFixture, AMapThatDisagreesWithItsCountKeepsItsDeletions) {
    // As a kill between the map and the header used to leave it: map written, count and
    // signature from before.
    std::vector<std::uint8_t> bytes = fileBytes(path);
    const std::size_t map = static_cast<std::size_t>(readLe(bytes, 176, 8));
    for (std::size_t b = 0; b < 25; ++b) bytes[map + b] = 0xFF;  // points 0..199
    writeFileBytes(path, bytes);

    test::LogCapture log;
    Writer view(path);
    EXPECT_EQ(log.count(LogWarn, "'cloud.ovcf': la mappa dei cancellati segna 200 punti ma l'intestazione ne conta 0; vale la mappa"), 1);
    EXPECT_EQ(view.history.deletedCount(), 200u);
    view.remove(1000, 1100);
    ASSERT_TRUE(view.confirm()) << view.error;
    PointBitmap expected = rangeMap(0, 200);
    expected.orWith(rangeMap(1000, 1100));
    expectConsistent(expected);
}

TEST_F(CommitFixture, AnInterruptedCommitIsReadAsTheOldStateUntilItIsRolledBack) {
    Writer view(path);
    view.remove(0, 700);
    ASSERT_TRUE(view.confirm()) << view.error;
    const std::vector<std::uint8_t> confirmed = fileBytes(path);

    // A second commit dies after writing the file but before removing its journal.
    {
        JournalKeeper keep(path);
        view.remove(2000, 2100);
        EXPECT_FALSE(view.confirm());
        keep.leaveAsCrashed();
    }
    EXPECT_FALSE(fileBytes(path) == confirmed);
    std::vector<std::uint8_t> journal = fileBytes(journalPathOf(path));
    ASSERT_FALSE(journal.empty());

    // Read without recovery (as on a read-only medium): the state before the dead commit.
    std::string error;
    FileHeader header;
    ASSERT_EQ(OvcfReader::probeHeader(path, header, error), ProbeValid) << error;
    EXPECT_EQ(header.deletedCount, 700u);
    OvcfReader reader;
    ASSERT_TRUE(reader.open(path, error)) << error;
    ConfirmedState state;
    ASSERT_TRUE(readConfirmedState(reader.file(), path, state, error)) << error;
    EXPECT_TRUE(state.throughJournal);
    EXPECT_EQ(state.mapCount, 700u);

    // The check rolls it back: the file is byte for byte the confirmed one, with no journal.
    FileCheckResult result;
    std::string fault;
    EXPECT_TRUE(checkFile(path, true, result, fault)) << fault;
    EXPECT_TRUE(fileBytes(path) == confirmed);
    EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cloud.ovcf"});

    // A journal cut short (the commit died while writing it) is dropped and the file trusted.
    journal.resize(journal.size() / 2);
    writeFileBytes(journalPathOf(path), journal);
    EXPECT_TRUE(checkFile(path, true, result, fault)) << fault;
    EXPECT_TRUE(fileBytes(path) == confirmed);
    EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cloud.ovcf"});
}

TEST_F(CommitFixture, TheDeepCheckNamesAFlippedMapBitAndAStaleSignature) {
    Writer view(path);
    view.remove(100, 600);
    ASSERT_TRUE(view.confirm()) << view.error;
    const std::vector<std::uint8_t> good = fileBytes(path);
    const std::size_t map = static_cast<std::size_t>(readLe(good, 176, 8));
    struct Damage {
        const char* what;
        std::size_t offset;   // a byte to change
        std::uint8_t xorMask;
        bool deepOnly;        // only the deep check can see it
        const char* fault;
    };
    const Damage damages[] = {
        {"a map bit flipped", map + 1000, 0x04, false, "the 'deleted' map marks 501 points, the header says 500"},
        {"a stale signature", 208, 0x01, true, "the current signature does not match the surviving points"},
    };
    for (const Damage& damage : damages) {
        SCOPED_TRACE(damage.what);
        std::vector<std::uint8_t> bytes = good;
        bytes[damage.offset] ^= damage.xorMask;
        writeFileBytes(path, bytes);
        FileCheckResult result;
        std::string fault;
        EXPECT_EQ(checkFile(path, false, result, fault), damage.deepOnly) << fault;
        EXPECT_FALSE(checkFile(path, true, result, fault));
        EXPECT_NE(fault.find(damage.fault), std::string::npos) << fault;
    }
}

}  // namespace
}  // namespace ovcf::test
