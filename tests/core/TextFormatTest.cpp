#include <gtest/gtest.h>

#include "core/TextFormat.h"

TEST(SizeText, UnitBoundaries) {
    const std::pair<uint64_t, const char*> cases[] = {
        {0, "0B"},         {1023, "1023B"},       {1024, "1.00KB"},      {1536, "1.50KB"},
        {(1ULL << 20) - 1, "1024.00KB"},          {1ULL << 20, "1.00MB"}, {1ULL << 30, "1.00GB"},
        {500107862016ULL, "465.76GB"},            {1ULL << 40, "1.00TB"}, {~0ULL, "16777216.00TB"}};
    for (const auto& [bytes, text] : cases) EXPECT_EQ(zel::sizeText(bytes), text) << bytes;
}

TEST(TextFormat, TrimAndFormat) {
    EXPECT_EQ(zel::trim("  a b\r\n"), "a b");
    EXPECT_EQ(zel::trim(" \t\r\n"), "");
    EXPECT_EQ(zel::formatText("%s=%llu", "n", 18446744073709551615ULL), "n=18446744073709551615");
}
