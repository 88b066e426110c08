#include <gtest/gtest.h>

#include "smart/SmartSyntax.h"

TEST(SmartSyntax, RangesInTheNumberSyntax) {
    const struct {
        const char* text;
        int32_t high, low;
    } cases[] = {{"0x1F", 31, 31},  {"1Fh", 31, 31},       {"31", 31, 31},    {"11111b", 31, 31}, {"4k", 4096, 4096},
                 {"[3:0]", 3, 0},   {"3:0", 3, 0},         {"[ 7 ]", 7, 7},   {"[0x10 : 1fh]", 16, 31},
                 {"[5", 5, 5},      {"", 0, 0}};
    for (const auto& c : cases) {
        const zel::NumberRange range = zel::parseRange(c.text);
        EXPECT_EQ(range.high, c.high) << c.text;
        EXPECT_EQ(range.low, c.low) << c.text;
    }
}

TEST(SmartSyntax, SataSelectorsPickASliceOfTheRawBytes) {
    const struct {
        const char* text;
        bool reservedByte;
        int id, first, end;
    } cases[] = {{"5", false, 5, 0, 6},        {"5", true, 5, 0, 7},        {"5[1:0]", false, 5, 0, 2},
                 {"5[1:0]", true, 5, 0, 2},    {"0x09[3:0]", false, 9, 0, 4}, {"0xC2[0]", false, 0xC2, 0, 1},
                 {"9[6:0]", false, 9, 0, 7},   {"BBh[5:2]", false, 0xBB, 2, 6}};
    for (const auto& c : cases) {
        const zel::SataSelector selector = zel::parseSataSelector(c.text, c.reservedByte);
        EXPECT_EQ(selector.id, c.id) << c.text;
        EXPECT_EQ(selector.first, c.first) << c.text;
        EXPECT_EQ(selector.end, c.end) << c.text;
    }
}

TEST(SmartSyntax, NvmeSelectorsAreByteRanges) {
    const struct {
        const char* text;
        int low, end;
    } cases[] = {{"2:1", 1, 3}, {"0x10", 16, 17}, {"[511:504]", 504, 512}};
    for (const auto& c : cases) {
        const zel::NvmeSelector selector = zel::parseNvmeSelector(c.text);
        EXPECT_EQ(selector.low, c.low) << c.text;
        EXPECT_EQ(selector.end, c.end) << c.text;
    }
}

TEST(SmartSyntax, TypeFields) {
    const struct {
        const char* text;
        bool isString;
        std::vector<uint8_t> codes;
    } cases[] = {
        {"", false, {0}},
        {"string", true, {0}},      // the whole value is also the token list
        {"$pwrcycle", false, {3}},  // likewise: a number with code 3
        {"number,$gsd", false, {1}},
        {" string , $tempc ", true, {6}},
        {"number,$ugsd,$pwronhr,$bytime", false, {2, 4, 5}},
        {"number,$unknown,$gsd", false, {0, 1}},
        {"number,", false, {0}},
        {"String,$gsd", false, {1}},
        {"number,$GSD", false, {0}},
    };
    for (const auto& c : cases) {
        const zel::TypeField field = zel::parseTypeField(c.text);
        EXPECT_EQ(field.isString, c.isString) << c.text;
        EXPECT_EQ(field.codes, c.codes) << c.text;
    }
}
