#include <gtest/gtest.h>

#include "core/NumberFormat.h"

namespace ovcf {
namespace {

TEST(NumberFormat, CountsAreGroupedByThreeWithDots) {
    EXPECT_EQ(formatCount(0), "0");
    EXPECT_EQ(formatCount(999), "999");
    EXPECT_EQ(formatCount(1000), "1.000");
    EXPECT_EQ(formatCount(12345), "12.345");
    EXPECT_EQ(formatCount(1234567), "1.234.567");
    EXPECT_EQ(formatCount(18446744073709551615ull), "18.446.744.073.709.551.615");
}

TEST(NumberFormat, SizesUseBinaryUnitsAndADecimalComma) {
    EXPECT_EQ(formatSize(0), "0 B");
    EXPECT_EQ(formatSize(512), "512 B");
    EXPECT_EQ(formatSize(1023), "1023 B");
    EXPECT_EQ(formatSize(1024), "1,00 KiB");
    EXPECT_EQ(formatSize(1536), "1,50 KiB");
    EXPECT_EQ(formatSize(1048576), "1,00 MiB");
    EXPECT_EQ(formatSize(3ull << 30), "3,00 GiB");
    EXPECT_EQ(formatSize(1ull << 50), "1,00 PiB");
    EXPECT_EQ(formatSize(1ull << 60), "1024,00 PiB");  // PiB is the largest unit
}

TEST(NumberFormat, DurationsChooseMillisecondsSecondsOrMinutes) {
    EXPECT_EQ(formatDuration(0.25), "250 ms");
    EXPECT_EQ(formatDuration(0.0), "0 ms");
    EXPECT_EQ(formatDuration(2.5), "2,50 s");
    EXPECT_EQ(formatDuration(59.999), "60,00 s");
    EXPECT_EQ(formatDuration(60.0), "1 m 0,0 s");
    EXPECT_EQ(formatDuration(75.5), "1 m 15,5 s");
    EXPECT_EQ(formatDuration(3725.0), "62 m 5,0 s");
}

}  // namespace
}  // namespace ovcf
