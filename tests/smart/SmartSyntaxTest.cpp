#include <gtest/gtest.h>

#include "core/TextFormat.h"
#include "smart/SmartSyntax.h"

TEST(SmartSyntax, RangesAndSelectors) {
    const std::pair<const char*, const char*> ranges[] = {
        {"0x1F", "31:31"}, {"1Fh", "31:31"}, {"11111b", "31:31"}, {"4k", "4096:4096"}, {"[3:0]", "3:0"},
        {"3:0", "3:0"},    {"[ 7 ]", "7:7"}, {"[0x10 : 1fh]", "16:31"}, {"[5", "5:5"}, {"", "0:0"}};
    for (const auto& [text, expected] : ranges) {
        const zel::NumberRange r = zel::parseRange(text);
        EXPECT_EQ(zel::formatText("%d:%d", r.high, r.low), expected) << text;
    }
    // id, first byte, end byte
    const std::tuple<const char*, bool, const char*> sata[] = {
        {"5", false, "5 0 6"},      {"5", true, "5 0 7"},        {"5[1:0]", true, "5 0 2"},
        {"0xC2[0]", false, "194 0 1"}, {"BBh[5:2]", false, "187 2 6"}};
    for (const auto& [text, reservedByte, expected] : sata) {
        const zel::SataSelector s = zel::parseSataSelector(text, reservedByte);
        EXPECT_EQ(zel::formatText("%d %d %d", s.id, s.first, s.end), expected) << text;
    }
    const std::pair<const char*, const char*> nvme[] = {{"2:1", "1 3"}, {"0x10", "16 17"}, {"[511:504]", "504 512"}};
    for (const auto& [text, expected] : nvme) {
        const zel::NvmeSelector s = zel::parseNvmeSelector(text);
        EXPECT_EQ(zel::formatText("%d %d", s.low, s.end), expected) << text;
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
