#include <gtest/gtest.h>

#include "core/TextFormat.h"

using zel::sizeText;

TEST(SizeText, UnitBoundaries) {
    EXPECT_EQ(sizeText(0), "0B");
    EXPECT_EQ(sizeText(1023), "1023B");
    EXPECT_EQ(sizeText(1024), "1.00KB");
    EXPECT_EQ(sizeText(1536), "1.50KB");
    EXPECT_EQ(sizeText((1ULL << 20) - 1), "1024.00KB");
    EXPECT_EQ(sizeText(1ULL << 20), "1.00MB");
    EXPECT_EQ(sizeText(1ULL << 30), "1.00GB");
    EXPECT_EQ(sizeText(500107862016ULL), "465.76GB");
    EXPECT_EQ(sizeText(1ULL << 40), "1.00TB");
    EXPECT_EQ(sizeText(~0ULL), "16777216.00TB");
}

TEST(TextFormat, TrimAndCase) {
    EXPECT_EQ(zel::trim("  a b\r\n"), "a b");
    EXPECT_EQ(zel::trim(" \t\r\n"), "");
    EXPECT_EQ(zel::toUpper("Intel(R) Core"), "INTEL(R) CORE");
    EXPECT_EQ(zel::formatText("%s=%llu", "n", 18446744073709551615ULL), "n=18446744073709551615");
}
