// Cleaning a file without a view: the points deleted are the ones the same filter selects in a
// view that sees the whole cloud, the file's map, count and content signature follow, and a dry
// run leaves the file byte for byte.
#include "SelectionTestCloud.h"
#include "ovcf/ContentSignature.h"
#include "selection/CloudCleaning.h"
#include "selection/FilterFactory.h"

namespace ovcf::test {
namespace {

using CloudCleaningTest = FilterCloudTest;

TEST_F(CloudCleaningTest, DeletesWhatTheFilterSelectsAndConfirmsItIntoTheFile) {
    SelectionSettings isolated, spacing;
    isolated.filter = 3;
    isolated.isolatedRadius = 0.5;
    isolated.isolatedNeighbors = 5;
    spacing.filter = 1;
    spacing.spacing = 0.3;
    for (const SelectionSettings& settings : {isolated, spacing}) {
        SCOPED_TRACE(settings.filter);
        const std::string file = dir.file("clean" + std::to_string(settings.filter) + ".ovcf");
        writeCloud(file, cloud);
        // What the view selects with the same filter when the shape holds the whole cloud.
        FilterContext context;
        context.header = &reader.header();
        const auto filter = makeSelectionFilter(settings, context);
        run(rectangleShape(0, 0, kWidth, kHeight), *filter, 2);
        const std::set<std::uint64_t> want = selected();
        ASSERT_FALSE(want.empty());

        const std::vector<std::uint8_t> before = fileBytes(file);
        CleaningResult dry, done;
        std::string error;
        ASSERT_TRUE(cleanCloud(file, settings, true, dry, error)) << error;
        EXPECT_EQ(fileBytes(file), before);
        EXPECT_EQ(dry.newlyDeleted, want.size());
        EXPECT_EQ(dry.report.found, want.size());
        EXPECT_EQ(dry.deletedInFile, 0u);

        ASSERT_TRUE(cleanCloud(file, settings, false, done, error)) << error;
        EXPECT_EQ(done.newlyDeleted, want.size());
        EXPECT_EQ(done.deletedInFile, want.size());
        OvcfReader cleaned;
        ASSERT_TRUE(cleaned.open(file, error)) << error;
        EXPECT_EQ(cleaned.header().deletedCount, want.size());
        std::vector<std::uint8_t> map;
        ASSERT_TRUE(cleaned.readDeletedMap(map, error)) << error;
        std::vector<PointRecord> survivors;
        for (std::uint64_t g = 0; g < points.size(); ++g) {
            const bool gone = (map[g / 8] >> (g % 8)) & 1;
            EXPECT_EQ(gone, want.count(g) == 1) << g;
            if (!gone) survivors.push_back(points[g]);
        }
        EXPECT_EQ(cleaned.header().currentSignature,
                  signatureOf(survivors.data(), survivors.size(), cleaned.header().pointFormat));
    }
}

TEST_F(CloudCleaningTest, BadRequestsAreRefusedAndChangeNothing) {
    SelectionSettings settings;
    CleaningResult result;
    std::string error;
    settings.filter = 0;
    EXPECT_FALSE(cleanCloud(path, settings, false, result, error));
    EXPECT_EQ(error, "no filter chosen");
    settings.filter = 1;
    settings.spacing = 0;
    EXPECT_FALSE(cleanCloud(path, settings, false, result, error));
    EXPECT_EQ(error, "the spacing must be above 0");
    settings.filter = 3;
    const std::string missing = dir.file("missing.ovcf");
    EXPECT_FALSE(cleanCloud(missing, settings, false, result, error));
    EXPECT_EQ(error.rfind(missing + ": ", 0), 0u) << error;
    EXPECT_EQ(reader.header().deletedCount, 0u);
}

}  // namespace
}  // namespace ovcf::test
