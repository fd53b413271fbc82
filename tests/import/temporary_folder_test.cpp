// Scratch folders left by imports that crashed or were killed are removed by the next import;
// nothing else is: not the folder of a process that still runs, not an unmarked folder, not a
// file, not what someone else put into a dead import's folder.
#include <algorithm>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ImportTestSupport.h"
#include "TestSupport.h"
#include "import/TemporaryFolder.h"
#include "platform/SystemInfo.h"

namespace ovcf {
namespace {

using test::TempDir;

void writeText(const std::string& path, const std::string& text) { std::ofstream(test::fsPath(path)) << text; }

// A folder as an import leaves it: an owner mark and spill files.
void makeImportFolder(const TempDir& parent, const std::string& name, const std::string& owner) {
    std::filesystem::create_directory(test::fsPath(parent.file(name)));
    if (!owner.empty()) writeText(parent.file(name + "/owner"), "ovcf_import " + owner + "\n");
    writeText(parent.file(name + "/root.pts"), std::string(36, 'x'));
    writeText(parent.file(name + "/r0.pts"), std::string(18, 'y'));
}

TEST(TemporaryFolderTest, FoldersOfEndedImportsGoAndNothingElse) {
    TempDir parent("scratch_parent");
    const std::string me = currentProcessMark();
    ASSERT_TRUE(processOfMarkRuns(me));
    // This process's id with another start time is a later process that reuses the id.
    const std::string reused = me.substr(0, me.find(' ')) + " 12345";
    const std::string gone = "2147483000 77";
    EXPECT_FALSE(processOfMarkRuns(reused));
    EXPECT_FALSE(processOfMarkRuns(gone));

    makeImportFolder(parent, "ovcf_import_1_dead", gone);
    makeImportFolder(parent, "ovcf_import_2_reused", reused);
    makeImportFolder(parent, "ovcf_import_3_running", me);
    makeImportFolder(parent, "ovcf_import_4_unmarked", "");
    makeImportFolder(parent, "other_5_dead", gone);
    makeImportFolder(parent, "ovcf_import_6_with_notes", gone);
    writeText(parent.file("ovcf_import_6_with_notes/notes.txt"), "keep me");
    writeText(parent.file("ovcf_import_7_file"), "ovcf_import " + gone + "\n");

    TemporaryFolder folder;
    std::string error;
    ASSERT_TRUE(folder.create(parent.path(), error)) << error;
    const std::string fresh = folder.path().substr(folder.path().find_last_of("/\\") + 1);
    std::vector<FolderEntry> entries;
    ASSERT_TRUE(listFolder(parent.path(), entries));
    std::vector<std::string> names;
    for (const FolderEntry& e : entries) names.push_back(e.name);
    std::sort(names.begin(), names.end());
    std::vector<std::string> expected = {"other_5_dead", "ovcf_import_3_running", "ovcf_import_4_unmarked",
                                         "ovcf_import_6_with_notes", "ovcf_import_7_file", fresh};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names, expected);
    for (const char* kept : {"ovcf_import_3_running/r0.pts", "ovcf_import_4_unmarked/root.pts", "other_5_dead/r0.pts",
                             "ovcf_import_6_with_notes/notes.txt"})
        EXPECT_TRUE(test::fileExists(parent.file(kept))) << kept;
    EXPECT_EQ(test::folderEntries(parent.file("ovcf_import_6_with_notes")), std::vector<std::string>{"notes.txt"});

    // The new folder carries this process's mark, which goes with the folder.
    std::ifstream mark(test::fsPath(folder.path() + "/owner"));
    std::string line;
    std::getline(mark, line);
    EXPECT_EQ(line, "ovcf_import " + me);
    mark.close();
    folder.remove();
    EXPECT_FALSE(test::fileExists(parent.file(fresh)));
}

}  // namespace
}  // namespace ovcf
