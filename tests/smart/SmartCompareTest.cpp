#include <gtest/gtest.h>

#include <algorithm>

#include "smart/SmartCompare.h"

using zel::SmartBytes;
using zel::SmartReading;
using zel::SmartReadings;

namespace {

zel::SataConfig sataConfig() {
    zel::SataConfig c;
    auto attr = [](uint8_t id, uint8_t first, uint8_t end, const char* limit, const char* desc) {
        zel::SataAttrConfig a;
        a.slice = {id, first, end};
        a.limit = limit;
        a.description = desc;
        return a;
    };
    c.attributes = {attr(0x05, 0, 6, "val<=10", "Realloc"), attr(0x09, 0, 2, "diff>=0", "Hours"),
                    attr(0xC2, 0, 1, "val<#5", "Temp")};
    return c;
}

const zel::RegistryLookup kNoRegistry = [](const std::string&) { return std::optional<std::string>(); };

}  // namespace

// A clean run and the "-" mark of a diff limit are run end to end.
TEST(SmartCompare, SataMarksAndConflicts) {
    const zel::SataConfig config = sataConfig();
    const struct {
        SmartReading current;
        std::optional<SmartReading> previous;
        const char* marks;  // one per attribute, '.' for none
        bool ok;
    } cases[] = {
        {{{11, 0, 0, 0, 0, 0}, {5, 0}, {0}}, std::nullopt, "*..", false},
        {{{1, 0, 0, 0, 0, 0}, {3, 0}, {0}}, SmartReading{{1, 0, 0, 0, 0, 0}, {4, 0}, {0}}, ".*.", false},
        {{{1, 0, 0, 0, 0, 0}, {5, 0}, {2}}, std::nullopt, "..*", false},  // #5 is 1
        {{{}, {}, {}}, std::nullopt, "..*", false},  // missing reads -1, and -1<-1 fails
    };
    for (const auto& c : cases) {
        SmartReadings r{c.current, c.previous, std::nullopt};
        const zel::SmartComparison out = zel::compareSata(config, r, kNoRegistry, 0, 16);
        EXPECT_EQ(out.noConflict, c.ok) << c.marks;
        std::string marks;
        for (bool conflict : out.conflicts) marks += conflict ? '*' : '.';
        // conflict flags must agree with the "*" marks; "-" marks are in the table
        std::string expectedConflicts = c.marks;
        std::replace(expectedConflicts.begin(), expectedConflicts.end(), '-', '.');
        EXPECT_EQ(marks, expectedConflicts) << c.marks;
        EXPECT_EQ(out.table.find("SMART Value Conflicts:") != std::string::npos, !c.ok) << out.table;
        EXPECT_EQ(out.table.find("\n- ") != std::string::npos, std::string(c.marks).find('-') != std::string::npos)
            << out.table;
    }
}

TEST(SmartCompare, SataTableText) {
    const zel::SataConfig config = sataConfig();
    SmartReadings r{{{11, 0, 0, 0, 0, 0}, {2, 1}, {40}}, SmartReading{{11, 0, 0, 0, 0, 0}, {2, 1}, {40}},
                    SmartReading{{0, 0, 0, 0, 0, 0}, {}, {30}}};
    const std::string expected =
        "===== SATA SMART Data =====\n"
        "  ID              Curr Value      Prev Value      Init Value      Description\n"
        "* 0x05            11              11              0               Realloc\n"
        "  0x09[1:0]       258             258                             Hours\n"
        "* 0xC2[0]         40              40              30              Temp\n"
        "SMART Value Conflicts:\n"
        "  -ID: 0x5[5:0], Limit: val<=10\n"
        "  -ID: 0xC2[0:0], Limit: val<#5\n";
    EXPECT_EQ(zel::compareSata(config, r, kNoRegistry, 0, 16).table, expected);
}

TEST(SmartCompare, NvmeTablesPerPage) {
    zel::NvmeConfig config;
    auto attr = [](int32_t lid, uint16_t low, uint16_t end, const char* limit, uint8_t code) {
        zel::NvmeAttrConfig a;
        a.logPageId = lid;
        a.range = {low, end};
        a.limit = limit;
        a.specialCodes = {code};
        return a;
    };
    config.logPages = {{0, 2, 512, 0}, {1, 0xC0, 16, 0}};
    config.attributes = {attr(2, 1, 3, "val<350", zel::kSpecialTempC), attr(0xC0, 4, 5, "diff==0", 0)};
    SmartReadings r{{{0x2C, 0x01}, {7}}, SmartReading{{0x2C, 0x01}, {6}}, std::nullopt};
    const std::string expected =
        "===== NVMe Log Page 0x2 Data =====\n"
        "  Offset          Curr Value      Prev Value      Init Value      Description\n"
        "  2:1             27              27\n"
        "===== NVMe Log Page 0xC0 Data =====\n"
        "  Offset          Curr Value      Prev Value      Init Value      Description\n"
        "* 4:4             7               6\n"
        "SMART Value Conflicts:\n"
        "  -Offset: [C0]4:4, Limit: diff==0\n";
    const zel::SmartComparison out = zel::compareNvme(config, r, kNoRegistry, 0, 16);
    EXPECT_EQ(out.table, expected);
    EXPECT_FALSE(out.noConflict);
}

// An all-0xFF reference skips a special limit and leaves the row unmarked,
// while a plain attribute beside it still shows that it changed.
TEST(SmartCompare, SkippedAttributeHasNoMark) {
    zel::NvmeConfig config;
    config.logPages = {{0, 2, 512, 0}};
    for (uint8_t code : {zel::kSpecialPowerCycle, zel::kSpecialNone}) {
        zel::NvmeAttrConfig a;
        a.logPageId = 2;
        a.range = {0, 2};
        a.specialCodes = {code};
        config.attributes.push_back(a);
    }
    SmartReadings r{{{1, 0}, {1, 0}}, SmartReading{{0xFF, 0xFF}, {0xFF, 0xFF}}, std::nullopt};
    const zel::SmartComparison out = zel::compareNvme(config, r, kNoRegistry, 0, 16);
    ASSERT_EQ(out.rows.size(), 2u);
    EXPECT_EQ(out.rows[0][0], "");
    EXPECT_EQ(out.rows[1][0], "-");
    EXPECT_TRUE(out.noConflict);
    EXPECT_NE(out.table.find("\n  1:0             1               65535\n"), std::string::npos) << out.table;
}

TEST(SmartCompare, CsvAndValues) {
    EXPECT_EQ(zel::csvLine({"time", "(Realloc, count) 0x05", "say \"hi\"", ""}),
              "time,\"(Realloc, count) 0x05\",\"say \"\"hi\"\"\",\n");
    const zel::SataConfig config = sataConfig();
    EXPECT_EQ(zel::sataCsvRow(config, {{1, 0, 0, 0, 0, 0}, {}}, "t"), (std::vector<std::string>{"t", "1", "", ""}));
    EXPECT_EQ(zel::sataCsvHeadings(config),
              (std::vector<std::string>{"time", "(Realloc) 0x05", "(Hours) 0x09[1:0]", "(Temp) 0xC2[0]"}));
    EXPECT_EQ(zel::unsignedValue({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}), UINT64_MAX);
    EXPECT_EQ(zel::unsignedValue({0x02, 0x01}), 0x0102u);
}
