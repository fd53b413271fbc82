// Commits from other processes, and processes killed in the middle of a commit: after every single
// write, flush and removal of a commit in turn, the reopened file holds the old confirmed state or
// the new one, whole. Child processes come from fork(), so this runs where fork() exists.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include "CommitTestSupport.h"
#include "ovcf/CommitRecovery.h"

namespace ovcf::test {
namespace {

// Runs `work` in a child process; its exit status (or -1 when it did not exit normally).
template <typename Work>
int inChild(Work&& work) {
    const pid_t child = fork();
    if (child == 0) _exit(work());
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child || !WIFEXITED(status)) return -1;
    return WEXITSTATUS(status);
}

constexpr int kCommitted = 3, kKilled = 4, kFailed = 5;

// Ends the process without a word at the `at`-th write, flush, rename or removal.
struct KillPoint {
    int at = 0, seen = 0;
    static bool hook(SystemFile::Operation, void* context) {
        auto* self = static_cast<KillPoint*>(context);
        if (++self->seen == self->at) _exit(kKilled);
        return false;
    }
};

TEST_F(CommitFixture, CommitsFromTwoProcessesAtOnceEndWithTheUnion) {
    Writer parent(path);
    parent.remove(0, 3000);
    const pid_t child = fork();
    if (child == 0) {
        Writer other(path);
        other.remove(2000, 6000);
        _exit(other.confirm() ? kCommitted : kFailed);
    }
    EXPECT_TRUE(parent.confirm()) << parent.error;
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), kCommitted);
    expectConsistent(rangeMap(0, 6000));
}

TEST_F(CommitFixture, AProcessKilledAtAnyStepOfACommitLeavesTheOldStateOrTheNew) {
    // First a commit that adds deletions to a file that has some, then one that restores them.
    struct Step {
        std::uint64_t keepFirst, keepEnd;  // confirmed before the commit
        bool restore;                      // the commit restores everything, else deletes more
        std::uint64_t first, end;          // what it deletes
    };
    const Step steps[] = {{0, 500, false, 4000, 4800}, {0, 500, true, 0, 0}};
    for (const Step& step : steps) {
        SCOPED_TRACE(step.restore ? "restoring" : "deleting");
        writeCloud(path, fullTree(2, 100));
        {
            Writer setup(path);
            setup.remove(step.keepFirst, step.keepEnd);
            ASSERT_TRUE(setup.confirm()) << setup.error;
        }
        const std::vector<std::uint8_t> before = fileBytes(path);
        const PointBitmap oldMap = rangeMap(step.keepFirst, step.keepEnd);
        PointBitmap newMap = step.restore ? rangeMap(0, 0) : oldMap;
        if (!step.restore) newMap.orWith(rangeMap(step.first, step.end));

        int killedAt = 0;
        for (int at = 1; at < 64; ++at) {
            SCOPED_TRACE(at);
            writeFileBytes(path, before);
            const int status = inChild([&] {
                Writer writer(path);
                bool changed = false;
                if (step.restore)
                    writer.history.restoreAll(changed);
                else
                    writer.remove(step.first, step.end);
                KillPoint kill{at, 0};
                SystemFile::setFaultHook(&KillPoint::hook, &kill);
                return writer.confirm() ? kCommitted : kFailed;
            });
            ASSERT_TRUE(status == kKilled || status == kCommitted) << status;
            std::string error;
            ASSERT_TRUE(recoverInterruptedCommit(path, error)) << error;
            OvcfReader reader;
            ASSERT_TRUE(reader.open(path, error)) << error;
            ConfirmedState state;
            ASSERT_TRUE(readConfirmedState(reader.file(), path, state, error)) << error;
            const bool isOld = state.map == oldMap.words(), isNew = state.map == newMap.words();
            ASSERT_TRUE(isOld || isNew) << "a map that is neither";
            if (status == kCommitted) {
                EXPECT_TRUE(isNew);
                expectConsistent(newMap);
                break;
            }
            expectConsistent(isOld ? oldMap : newMap);
            killedAt = at;
        }
        // The journal (write, flush), the map, the header, the flush and the journal's removal.
        EXPECT_GE(killedAt, 5) << "every step was a kill point";
    }
}

}  // namespace
}  // namespace ovcf::test
