#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "LogCapture.h"
#include "core/Log.h"

namespace ovcf {
namespace {

struct LogTest : ::testing::Test, test::LogCapture {};

std::vector<std::string> recentLines() {
    std::vector<char> buffer(kLogRingSlots * (kLogRingSlotBytes + 2) + 1);
    const std::size_t written = copyRecentLines(buffer.data(), buffer.size());
    std::vector<std::string> result;
    std::string text(buffer.data(), written);
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find("\r\n", start);
        result.push_back(text.substr(start, end - start));
        start = end + 2;
    }
    return result;
}

TEST_F(LogTest, InfoAndAboveReachTheSinkWithoutTimeOrLevel) {
    logLine(LogInfo, "vista %d", 7);
    logLine(LogWarn, "attenzione");
    logLine(LogError, "errore %s", "grave");
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].level, LogInfo);
    EXPECT_EQ(lines[0].text, "vista 7");
    EXPECT_EQ(lines[2].text, "errore grave");
}

TEST_F(LogTest, TraceAndDebugAreDroppedBelowTheThresholds) {
    EXPECT_EQ(logLevelThreshold(), LogInfo);
    logLine(LogTrace, "traccia");
    logLine(LogDebug, "debug");
    EXPECT_TRUE(lines.empty());
    for (const std::string& line : recentLines()) EXPECT_EQ(line.find("traccia"), std::string::npos);
}

TEST_F(LogTest, LongLinesReachTheOutputsWholeAndTheRingCut) {
    for (std::size_t length : {std::size_t{1023}, std::size_t{1024}, std::size_t{5000}}) {
        lines.clear();
        const std::string text(length, 'x');
        logLine(LogInfo, "%s", text.c_str());
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines[0].text.size(), length);
        const std::vector<std::string> recent = recentLines();
        ASSERT_FALSE(recent.empty());
        EXPECT_EQ(recent.back().size(), static_cast<std::size_t>(kLogRingSlotBytes - 1));
        EXPECT_EQ(recent.back().find("] INFO  xxx"), 9u);  // "[%8.3f] INFO  ..."
    }
}

TEST_F(LogTest, RecentLinesAfterHundredLinesAreTheLastNinetySixInOrder) {
    for (int i = 1; i <= 100; ++i) logLine(LogInfo, "riga %d", i);
    const std::vector<std::string> recent = recentLines();
    ASSERT_EQ(recent.size(), 96u);
    for (int i = 0; i < 96; ++i) {
        const std::string expected = "riga " + std::to_string(i + 5);
        EXPECT_EQ(recent[i].substr(recent[i].size() - expected.size()), expected) << recent[i];
    }
}

TEST_F(LogTest, RecentLinesStopBeforeALineThatWouldNotFit) {
    for (int i = 0; i < 10; ++i) logLine(LogInfo, "riga di prova %d", i);
    std::vector<char> whole(kLogRingSlots * (kLogRingSlotBytes + 2) + 1);
    const std::string all(whole.data(), copyRecentLines(whole.data(), whole.size()));
    char small[80];
    std::memset(small, '#', sizeof small);
    const std::string part(small, copyRecentLines(small, sizeof small));
    EXPECT_EQ(small[part.size()], '\0');
    // Oldest first, whole lines only: the short copy is the head of the full one...
    ASSERT_GE(part.size(), 2u);
    EXPECT_EQ(all.compare(0, part.size(), part), 0);
    EXPECT_EQ(part.substr(part.size() - 2), "\r\n");
    // ...and the line after it would not have fitted with its terminator.
    const std::size_t nextEnd = all.find("\r\n", part.size());
    ASSERT_NE(nextEnd, std::string::npos);
    EXPECT_GE(nextEnd + 2, sizeof small);
    EXPECT_EQ(copyRecentLines(nullptr, 100), 0u);
    EXPECT_EQ(copyRecentLines(small, 0), 0u);
}

}  // namespace
}  // namespace ovcf
