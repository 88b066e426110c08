#include <gtest/gtest.h>

#include "core/Clock.h"

TEST(Clock, TimeStampFormat) {
    // 2024-03-05 14:07:09.042 as milliseconds since 1601-01-01.
    EXPECT_EQ(zel::timeStampText(13354121229042ULL), "2024-03-05 14:07:09,042");
    EXPECT_EQ(zel::timeStampText(13354121229000ULL), "2024-03-05 14:07:09,000");
}

TEST(Clock, NowIsAFileTimeInMilliseconds) {
    uint64_t now = zel::nowMilliseconds();
    // Between 2020 and 2100 in file-time milliseconds.
    EXPECT_GT(now, 13222310400000ULL);
    EXPECT_LT(now, 15747753600000ULL);
    double elapsed = zel::secondsSince(now - 1500);
    EXPECT_GE(elapsed, 1.5);
    EXPECT_LT(elapsed, 60.0);
}
