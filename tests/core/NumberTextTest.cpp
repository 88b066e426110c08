#include <gtest/gtest.h>

#include "core/NumberText.h"

using zel::parseDecimal32;
using zel::parseNumber;
using zel::parseNumber64;

// The tool's loose reader: 0x prefix, h and b suffixes, k/m/g multipliers,
// strtol-like partial conversion and clamping.
TEST(NumberText, LooseReaderBasesMultipliersAndPartialText) {
    const std::pair<const char*, int32_t> cases[] = {
        {"0x1F", 31}, {"0X1f", 31}, {"1Fh", 31}, {"FFH", 255}, {"101b", 5}, {"42", 42}, {"-42", -42},
        {"0x1b", 27},  // a 0x prefix wins over a binary suffix
        {"ab", 0},     {"1ab", 1},  // a binary suffix needs a digit before it
        {"4k", 4096},  {"2M", 2 << 20}, {"1g", 1 << 30}, {"2g", INT32_MIN},  // 32-bit multiplication wraps
        {"12abc", 12}, {"0x", 0},       {"99999999999", INT32_MAX}};        // clamped like a 32-bit strtol
    for (const auto& [text, expected] : cases) EXPECT_EQ(parseNumber(text), expected) << text;
    EXPECT_EQ(parseNumber("", 77), 77);
    EXPECT_EQ(parseNumber64("", -1), -1);
    EXPECT_EQ(parseNumber64("8g"), 8LL << 30);
    EXPECT_EQ(parseNumber64("0x100000000"), 0x100000000LL);
    EXPECT_EQ(parseDecimal32("17"), 17);
    EXPECT_EQ(parseDecimal32("-1"), -1);
    EXPECT_EQ(parseDecimal32("0x10"), 0) << "command-line integers are decimal only";
    EXPECT_EQ(parseDecimal32("-99999999999"), INT32_MIN);
}

// Command-line values: the whole text is one number or it is refused.
TEST(NumberText, StrictReadersTakeWholeNumbersOnly) {
    const std::pair<const char*, uint64_t> numbers[] = {
        {"0x1F", 31}, {"1Fh", 31}, {"101b", 5}, {"4k", 4096}, {"2M", 2 << 20}, {"8g", 8ULL << 30},
        {"0", 0},     {"18446744073709551615", UINT64_MAX}, {"0xFFFFFFFFFFFFFFFF", UINT64_MAX}};
    for (const auto& [text, expected] : numbers) {
        uint64_t value = 1;
        EXPECT_TRUE(zel::readNumber(text, &value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    for (const char* text : {"", "abc", "3abc", "12b", "0x", "h", "k", "-1", " 3", "3 ", "1.5",
                             "18446744073709551616", "0x10000000000000000", "17179869184g", "0x1Fh"}) {
        uint64_t value = 7;
        EXPECT_FALSE(zel::readNumber(text, &value)) << text;
        EXPECT_EQ(value, 7u) << "untouched on refusal: " << text;
    }

    const std::pair<const char*, int32_t> decimals[] = {
        {"3", 3}, {"-1", -1}, {"+12", 12}, {"2147483647", INT32_MAX}, {"-2147483648", INT32_MIN}};
    for (const auto& [text, expected] : decimals) {
        int32_t value = 0;
        EXPECT_TRUE(zel::readDecimal32(text, &value)) << text;
        EXPECT_EQ(value, expected) << text;
    }
    for (const char* text : {"", "abc", "3abc", "0x1F", "1Fh", "-", "2147483648", "-2147483649", " 1"}) {
        int32_t value = 0;
        EXPECT_FALSE(zel::readDecimal32(text, &value)) << text;
    }

    double seconds = 0;
    EXPECT_TRUE(zel::readAmount("1.5", &seconds));
    EXPECT_EQ(seconds, 1.5);
    for (const char* text : {"", "-1", "abc", "1s", "nan", "inf", "1e999"})
        EXPECT_FALSE(zel::readAmount(text, &seconds)) << text;
}
