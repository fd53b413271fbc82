#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "OrvanePC.h"

namespace {

void failWithInvalidHandle() { PC_Resize(nullptr); }  // sets "invalid view handle" (19 characters)

TEST(LastError, ANullBufferAsksForTheSize) {
    failWithInvalidHandle();
    EXPECT_EQ(PC_LastError(nullptr, 0), 20);
    EXPECT_EQ(PC_LastError(nullptr, 100), 20);
}

TEST(LastError, CapacityOneWritesOnlyTheTerminatingZero) {
    failWithInvalidHandle();
    char buffer[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(PC_LastError(buffer, 1), 20);
    EXPECT_EQ(buffer[0], '\0');
    EXPECT_EQ(buffer[1], '#');
}

TEST(LastError, ALongTextIsCutToCapacityMinusOne) {
    failWithInvalidHandle();
    char buffer[9];
    std::memset(buffer, '#', sizeof buffer);
    EXPECT_EQ(PC_LastError(buffer, 8), 20);
    EXPECT_STREQ(buffer, "invalid");
    EXPECT_EQ(buffer[8], '#');
    char whole[20];
    EXPECT_EQ(PC_LastError(whole, sizeof whole), 20);
    EXPECT_STREQ(whole, "invalid view handle");
}

TEST(LastError, ZeroOrNegativeCapacityWritesNothing) {
    failWithInvalidHandle();
    char buffer[2] = {'#', '#'};
    EXPECT_EQ(PC_LastError(buffer, 0), 20);
    EXPECT_EQ(PC_LastError(buffer, -5), 20);
    EXPECT_EQ(buffer[0], '#');
}

TEST(LastError, SuccessKeepsThePreviousText) {
    ASSERT_EQ(PC_GetParamInfo(0, nullptr), 2);
    EXPECT_EQ(PC_Version(), 10000);
    EXPECT_EQ(PC_SetLogCallback(nullptr, nullptr), 0);
    char buffer[64];
    PC_LastError(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "info is null");
}

TEST(LastError, EachThreadHasItsOwn) {
    ASSERT_EQ(PC_GetParamInfo(0, nullptr), 2);
    std::string seenByOther;
    int sizeOnFreshThread = 0;
    std::thread other([&] {
        sizeOnFreshThread = PC_LastError(nullptr, 0);
        failWithInvalidHandle();
        char buffer[64];
        PC_LastError(buffer, sizeof buffer);
        seenByOther = buffer;
    });
    other.join();
    EXPECT_EQ(sizeOnFreshThread, 1);  // empty text
    EXPECT_EQ(seenByOther, "invalid view handle");
    char buffer[64];
    PC_LastError(buffer, sizeof buffer);
    EXPECT_STREQ(buffer, "info is null");
}

}  // namespace
