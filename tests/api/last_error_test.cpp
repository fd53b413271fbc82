#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>

#include "OrvanePC.h"

namespace {

void failWithInvalidHandle() { PC_Resize(nullptr); }  // sets "invalid view handle" (19 characters)

// Every call answers the whole text's size with its terminating zero, and writes at most
// capacity - 1 characters and the zero.
TEST(LastError, TheTextIsCutToTheCapacityAndTheSizeIsAlwaysTheWholeOnes) {
    failWithInvalidHandle();
    EXPECT_EQ(PC_LastError(nullptr, 0), 20);
    EXPECT_EQ(PC_LastError(nullptr, 100), 20);
    const struct {
        int capacity;
        const char* written;  // nullptr: nothing written
    } cases[] = {{-5, nullptr}, {0, nullptr}, {1, ""}, {8, "invalid"}, {20, "invalid view handle"}, {21, "invalid view handle"}};
    for (const auto& c : cases) {
        char buffer[24];
        std::memset(buffer, '#', sizeof buffer);
        EXPECT_EQ(PC_LastError(buffer, c.capacity), 20) << c.capacity;
        if (!c.written) {
            EXPECT_EQ(buffer[0], '#') << c.capacity;
            continue;
        }
        EXPECT_STREQ(buffer, c.written) << c.capacity;
        EXPECT_EQ(buffer[std::strlen(c.written) + 1], '#') << c.capacity;
    }
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
