#include <gtest/gtest.h>

#include "smart/ValueText.h"

using zel::SataSelector;
using zel::SmartBytes;

TEST(ValueText, SataValues) {
    const struct {
        SmartBytes bytes;
        SataSelector slice;
        int base;
        const char* text;
    } cases[] = {
        {{0x02, 0x01}, {9, 0, 2}, 16, "0102"},
        {{0xFF, 0xFF, 0xFF, 0xFF}, {9, 0, 4}, 10, "-1"},
        {{1, 0, 0, 0, 0, 1}, {9, 0, 6}, 10, "1099511627777"},
        {{1, 2, 3, 4, 5, 6, 7}, {9, 0, 7}, 16, "07060504030201"},
        {{1, 2, 3, 4, 5, 6, 7}, {9, 1, 8}, 10, ""},
    };
    for (const auto& c : cases) EXPECT_EQ(zel::sataValueText(c.bytes, c.slice, c.base), c.text) << c.text;
}

TEST(ValueText, NvmeValues) {
    const struct {
        SmartBytes bytes;
        int base;
        bool isString;
        uint8_t code;
        const char* text;
    } cases[] = {
        {{0x2C, 0x01}, 16, false, zel::kSpecialTempC, "001B"},
        {{0x2C, 0x01}, 10, false, zel::kSpecialNone, "300"},
        {{'1', '.', '0', 0, ' '}, 10, true, 0, "1.0"},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, 10, false, 0, "-1"},
        {{1, 2, 3, 4, 5, 6, 7, 8, 9}, 10, false, zel::kSpecialTempC, "090807060504030201"},
    };
    for (const auto& c : cases) EXPECT_EQ(zel::nvmeValueText(c.bytes, c.base, c.isString, c.code), c.text) << c.text;
}

// Labels in the tables, conflict lines and CSV headings are compared whole in
// SmartCompareTest and end to end; here the reserved byte and hex ranges.
TEST(ValueText, Labels) {
    const struct {
        SataSelector slice;
        bool reservedByte;
        const char* label;
    } labels[] = {{{9, 0, 7}, true, "0x09"}, {{9, 0, 7}, false, "0x09[6:0]"}, {{9, 0, 6}, true, "0x09"},
                  {{9, 2, 3}, false, "0x09[2]"}};
    for (const auto& c : labels) EXPECT_EQ(zel::sataLabel(c.slice, c.reservedByte), c.label) << c.label;
    EXPECT_EQ(zel::nvmeLabel({0x10, 0x20}), "1F:10");
}
