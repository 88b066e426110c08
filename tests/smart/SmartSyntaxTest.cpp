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

// "s" or "n", then the codes.
TEST(SmartSyntax, TypeFields) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "n0"}, {"string", "s0"}, {"$pwrcycle", "n3"},  // the whole value is also the token list
        {"number,$gsd", "n1"}, {" string , $tempc ", "s6"}, {"number,$ugsd,$pwronhr,$bytime", "n245"},
        {"number,$unknown,$gsd", "n01"}, {"number,", "n0"}, {"String,$gsd", "n1"}, {"number,$GSD", "n0"},
    };
    for (const auto& [text, expected] : cases) {
        const zel::TypeField field = zel::parseTypeField(text);
        std::string got = field.isString ? "s" : "n";
        for (uint8_t code : field.codes) got += std::to_string(code);
        EXPECT_EQ(got, expected) << text;
    }
}
