#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "LogCapture.h"
#include "core/Progress.h"

namespace ovcf {
namespace {

struct ProgressTest : ::testing::Test, test::LogCapture {};

TEST_F(ProgressTest, UpdatesSoonerThanTheIntervalPrintNothing) {
    ProgressReporter progress("lettura sorgente", 1000, 2000);
    for (int i = 0; i < 100; ++i) progress.update(i * 10);
    EXPECT_TRUE(lines.empty());
}

TEST_F(ProgressTest, WithoutAnIntervalEveryUpdatePrints) {
    ProgressReporter progress("indicizzazione", 2000, 0);
    progress.update(500);
    progress.update(1000);
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text.rfind("indicizzazione:  25.0%  500 / 2.000 punti  (", 0), 0u) << lines[0].text;
    EXPECT_EQ(lines[1].text.rfind("indicizzazione:  50.0%  1.000 / 2.000 punti  (", 0), 0u) << lines[1].text;
    EXPECT_NE(lines[1].text.find(" M punti/s)"), std::string::npos);
}

TEST_F(ProgressTest, FinishPrintsOneFinalLineWithTheTotal) {
    ProgressReporter progress("indicizzazione", 1234567, 2000);
    progress.finish();
    progress.finish();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.rfind("indicizzazione: 100.0%  1.234.567 / 1.234.567 punti  (", 0), 0u) << lines[0].text;
    EXPECT_EQ(lines[0].text.substr(lines[0].text.size() - 8), "  [fine]");
}

TEST_F(ProgressTest, UnknownTotalPrintsNoPercentage) {
    ProgressReporter progress("lettura sorgente", 0, 0);
    progress.update(4096);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].text.rfind("lettura sorgente: 4.096 punti  (", 0), 0u) << lines[0].text;
    EXPECT_EQ(lines[0].text.find('%'), std::string::npos);
}

}  // namespace
}  // namespace ovcf
