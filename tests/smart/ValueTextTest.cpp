#include <gtest/gtest.h>

#include "smart/ValueText.h"

using zel::SmartBytes;

// Widths, bases, $tempc, strings and the reserved byte; whole tables,
// conflict lines and csv headings are compared in SmartCompareTest.
TEST(ValueText, ValuesAndLabels) {
    const std::pair<std::string, const char*> cases[] = {
        {zel::sataValueText({0x02, 0x01}, {9, 0, 2}, 16), "0102"},
        {zel::sataValueText({0xFF, 0xFF, 0xFF, 0xFF}, {9, 0, 4}, 10), "-1"},
        {zel::sataValueText({1, 0, 0, 0, 0, 1}, {9, 0, 6}, 10), "1099511627777"},
        {zel::sataValueText({1, 2, 3, 4, 5, 6, 7}, {9, 0, 7}, 16), "07060504030201"},
        {zel::sataValueText({1, 2, 3, 4, 5, 6, 7}, {9, 1, 8}, 10), ""},
        {zel::nvmeValueText({0x2C, 0x01}, 16, false, zel::kSpecialTempC), "001B"},
        {zel::nvmeValueText({0x2C, 0x01}, 10, false, zel::kSpecialNone), "300"},
        {zel::nvmeValueText({'1', '.', '0', 0, ' '}, 10, true, 0), "1.0"},
        {zel::nvmeValueText(SmartBytes(8, 0xFF), 10, false, 0), "-1"},
        {zel::nvmeValueText({1, 2, 3, 4, 5, 6, 7, 8, 9}, 10, false, zel::kSpecialTempC), "090807060504030201"},
        {zel::sataLabel({9, 0, 7}, true), "0x09"},
        {zel::sataLabel({9, 0, 7}, false), "0x09[6:0]"},
        {zel::sataLabel({9, 0, 6}, true), "0x09"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected);
}
