#include <gtest/gtest.h>

#include "core/NumberText.h"

using zel::parseDecimal32;
using zel::parseNumber;
using zel::parseNumber64;

TEST(NumberText, BasesBySuffixAndPrefix) {
    EXPECT_EQ(parseNumber("0x1F"), 31);
    EXPECT_EQ(parseNumber("0X1f"), 31);
    EXPECT_EQ(parseNumber("1Fh"), 31);
    EXPECT_EQ(parseNumber("FFH"), 255);
    EXPECT_EQ(parseNumber("101b"), 5);
    EXPECT_EQ(parseNumber("0x1b"), 27) << "a 0x prefix wins over a binary suffix";
    EXPECT_EQ(parseNumber("42"), 42);
    EXPECT_EQ(parseNumber("-42"), -42);
}

TEST(NumberText, BinarySuffixNeedsADigitBeforeIt) {
    EXPECT_EQ(parseNumber("ab"), 0) << "decimal conversion of garbage";
    EXPECT_EQ(parseNumber("1ab"), 1);
}

TEST(NumberText, Multipliers) {
    EXPECT_EQ(parseNumber("4k"), 4096);
    EXPECT_EQ(parseNumber("2M"), 2 << 20);
    EXPECT_EQ(parseNumber("1g"), 1 << 30);
    EXPECT_EQ(parseNumber("2g"), INT32_MIN) << "32-bit multiplication wraps";
    EXPECT_EQ(parseNumber64("8g"), 8LL << 30);
    EXPECT_EQ(parseNumber64("0x100000000"), 0x100000000LL);
}

TEST(NumberText, DefaultsAndPartialConversion) {
    EXPECT_EQ(parseNumber("", 77), 77);
    EXPECT_EQ(parseNumber64("", -1), -1);
    EXPECT_EQ(parseNumber("12abc"), 12);
    EXPECT_EQ(parseNumber("0x"), 0);
    EXPECT_EQ(parseNumber("99999999999"), INT32_MAX) << "clamped like a 32-bit strtol";
}

TEST(NumberText, CommandLineIntegersAreDecimalOnly) {
    EXPECT_EQ(parseDecimal32("17"), 17);
    EXPECT_EQ(parseDecimal32("-1"), -1);
    EXPECT_EQ(parseDecimal32("0x10"), 0);
    EXPECT_EQ(parseDecimal32("-99999999999"), INT32_MIN);
}
