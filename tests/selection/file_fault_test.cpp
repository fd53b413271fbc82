// Faults injected into the file layer, as SQLite's tests do it: every write, flush and rename of a
// rebuild over an existing cache, and every write of a confirmation, is made to fail in turn.
// After each failure the cache is as it was, byte for byte, nothing is left behind (no temporary
// file, no scratch folder), the message says what failed and why, and a later attempt succeeds.
#include <gtest/gtest.h>

#include <map>

#include "CommitTestSupport.h"
#include "import/OctreeIndexer.h"

namespace ovcf::test {
namespace {

using Operation = SystemFile::Operation;

// Counts the operations of each kind and fails the `failAt`-th one of kind `failing` (0: none).
struct FaultPlan {
    Operation failing = Operation::Write;
    int failAt = 0;
    std::map<Operation, int> seen;
    static bool hook(Operation operation, void* context) {
        auto* plan = static_cast<FaultPlan*>(context);
        const int n = ++plan->seen[operation];
        return operation == plan->failing && n == plan->failAt;
    }
};

class InjectedFaults {
public:
    explicit InjectedFaults(FaultPlan& plan) { SystemFile::setFaultHook(&FaultPlan::hook, &plan); }
    ~InjectedFaults() { SystemFile::setFaultHook(nullptr, nullptr); }
};

// The system's own text for a full disk, as an injected fault reports it.
std::string diskFullText(const TempDir& dir) {
    FaultPlan plan{Operation::Write, 1, {}};
    InjectedFaults faults(plan);
    SystemFile file;
    EXPECT_TRUE(file.open(dir.file("probe"), SystemFile::Mode::Create));
    EXPECT_FALSE(file.write("x", 1));
    file.close();
    SystemFile::deleteFile(dir.file("probe"));
    return file.lastErrorText();
}

ImportOptions faultOptions(const TempDir& scratch) {
    ImportOptions options;
    options.temporaryParent = scratch.path();
    options.maxNodePoints = 1000;
    options.gridSize = 16;
    options.ramBudget = 1 << 20;  // 13.107 points a bucket: a larger cloud spills
    return options;
}

bool build(const std::vector<PointRecord>& points, const std::string& path, const TempDir& scratch,
           std::string& error, ImportStats* statsOut = nullptr) {
    RecordSource source(points);
    ImportStats stats;
    const bool built = buildOctree(source, path, faultOptions(scratch), stats, error);
    if (statsOut) *statsOut = stats;
    return built;
}

TEST(FileFaultTest, EveryFailingWriteFlushOrRenameOfARebuildLeavesTheOldCache) {
    TempDir dir("fault_build");
    TempDir scratch("fault_scratch");
    const std::string cache = dir.file("cloud_cache.ovcf");
    std::string error;
    ASSERT_TRUE(build(randomRecords(6000, 1 << 12, 31), cache, scratch, error)) << error;
    const std::vector<std::uint8_t> old = fileBytes(cache);
    const std::string diskFull = diskFullText(dir);
    ASSERT_FALSE(diskFull.empty());

    const std::vector<PointRecord> next = randomRecords(30000, 1 << 12, 32);
    FaultPlan count;
    ImportStats counted;
    {
        InjectedFaults faults(count);
        count.failAt = 0;
        ASSERT_TRUE(build(next, dir.file("counted.ovcf"), scratch, error, &counted)) << error;
    }
    ASSERT_GT(counted.temporaryBytes, 0u) << "the rebuild must spill for its spill files' writes to fail";
    SystemFile::deleteFile(dir.file("counted.ovcf"));
    ASSERT_GT(count.seen[Operation::Write], 20) << "spill files and node blocks";
    ASSERT_EQ(count.seen[Operation::Flush], 1);
    ASSERT_EQ(count.seen[Operation::Rename], 1);

    for (Operation operation : {Operation::Write, Operation::Flush, Operation::Rename}) {
        for (int k = 1; k <= count.seen[operation]; ++k) {
            SCOPED_TRACE(testing::Message() << "operation " << static_cast<int>(operation) << ", number " << k);
            FaultPlan plan{operation, k, {}};
            bool built = false;
            {
                InjectedFaults faults(plan);
                built = build(next, cache, scratch, error);
            }
            ASSERT_FALSE(built);
            EXPECT_NE(error.find(diskFull), std::string::npos) << error;
            ASSERT_TRUE(fileBytes(cache) == old) << "the old cache changed: " << error;
            EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cloud_cache.ovcf"}) << error;
            EXPECT_TRUE(folderEntries(scratch.path()).empty()) << error;
        }
    }
    ASSERT_TRUE(build(next, cache, scratch, error)) << error;
    FileHeader header;
    ASSERT_EQ(OvcfReader::probeHeader(cache, header, error), ProbeValid) << error;
    EXPECT_EQ(header.pointCount, next.size());
}

TEST(FileFaultTest, EveryFailingWriteOfAConfirmationLeavesTheFileAsItWas) {
    TempDir dir("fault_confirm");
    TempDir scratch("fault_scratch");
    const std::string cache = dir.file("cloud_cache.ovcf");
    std::string error;
    // 70.000 points: a map of three 4 KiB pages, of which the deletions touch the first and last.
    ASSERT_TRUE(build(randomRecords(70000, 1 << 14, 33), cache, scratch, error)) << error;
    const std::string diskFull = diskFullText(dir);

    OvcfReader reader;
    ASSERT_TRUE(reader.open(cache, error)) << error;
    const FileHeader& header = reader.header();
    DeletionHistory history;
    history.open(cache, describeNodes(header, reader.nodes(), cloudReferencePoint(header)),
                 std::vector<std::uint64_t>((header.pointCount + 63) / 64, 0), header.pointCount,
                 header.currentSignature);
    PointBitmap selection;
    selection.reset(header.pointCount);
    for (std::uint64_t g = 100; g < 400; ++g) selection.set(g);
    for (std::uint64_t g = 69000; g < 69900; ++g) selection.set(g);
    PointBitmap sameSelection = selection;  // deleting empties the selection
    bool changed = false, wrote = false;
    history.deleteSelected(selection, changed);
    const std::vector<std::uint8_t> before = fileBytes(cache);

    FaultPlan count;
    count.failAt = 0;
    int writes = 0;
    {
        // Counted on a copy, so that the cache itself stays unconfirmed.
        TempDir copyDir("fault_copy");
        const std::string copy = copyDir.file("copy.ovcf");
        writeFileBytes(copy, before);
        OvcfReader copyReader;
        ASSERT_TRUE(copyReader.open(copy, error)) << error;
        DeletionHistory twin;
        twin.open(copy, describeNodes(header, reader.nodes(), cloudReferencePoint(header)),
                  std::vector<std::uint64_t>((header.pointCount + 63) / 64, 0), header.pointCount,
                  header.currentSignature);
        twin.deleteSelected(sameSelection, changed);
        InjectedFaults faults(count);
        ASSERT_TRUE(twin.confirm(copyReader, wrote, error)) << error;
        writes = count.seen[Operation::Write];
    }
    ASSERT_EQ(writes, 4) << "the journal, two map pages and the header";
    ASSERT_EQ(count.seen[Operation::Flush], 2) << "the journal, then the file";
    ASSERT_EQ(count.seen[Operation::Remove], 1) << "the journal, which makes the commit take effect";

    for (Operation operation : {Operation::Write, Operation::Flush, Operation::Remove}) {
        for (int k = 1; k <= count.seen[operation]; ++k) {
            SCOPED_TRACE(testing::Message() << "operation " << static_cast<int>(operation) << ", number " << k);
            FaultPlan plan{operation, k, {}};
            bool confirmed = true;
            {
                InjectedFaults faults(plan);
                confirmed = history.confirm(reader, wrote, error);
            }
            ASSERT_FALSE(confirmed);
            if (operation != Operation::Remove) {
                EXPECT_NE(error.find(diskFull), std::string::npos) << error;
            }
            EXPECT_TRUE(error.rfind("writing the deleted-points map failed: ", 0) == 0 ||
                        error.rfind("header update failed: ", 0) == 0 ||
                        error.rfind("writing the commit journal failed: ", 0) == 0 ||
                        error.rfind("cannot remove the commit journal", 0) == 0)
                << error;
            EXPECT_TRUE(fileBytes(cache) == before) << "the file changed";
            EXPECT_TRUE(history.hasUnsavedChanges());
            EXPECT_EQ(folderEntries(dir.path()), std::vector<std::string>{"cloud_cache.ovcf"});
        }
    }

    ASSERT_TRUE(history.confirm(reader, wrote, error)) << error;
    EXPECT_TRUE(wrote);
    FileHeader after;
    ASSERT_EQ(OvcfReader::probeHeader(cache, after, error), ProbeValid) << error;
    EXPECT_EQ(after.deletedCount, 1200u);
    EXPECT_EQ(after.currentSignature, survivorsSignature(reader, history.deleted()));
}

}  // namespace
}  // namespace ovcf::test
