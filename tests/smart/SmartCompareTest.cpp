#include <gtest/gtest.h>

#include "smart/SmartExport.h"
#include "smart/SmartRender.h"

using zel::SmartReading;
using zel::SmartReadings;

namespace {

zel::SmartLayout sataLayout() {
    zel::SataConfig c;
    c.attributes = {{{1, "Realloc", "val<=10"}, {0x05, 0, 6}},
                    {{2, "Hours", "diff>=0"}, {0x09, 0, 2}},
                    {{3, "Temp", "val<#5"}, {0xC2, 0, 1}}};  // #5: the first attribute
    return zel::sataLayout(c);
}

// Two pages; "#2" names slot 2 (the 0xC0 attribute), not the second in the list.
zel::SmartLayout nvmeLayout() {
    zel::NvmeConfig c;
    c.logPages = {{0, 2, 512, 0}, {2, 0xC0, 16, 0}};
    c.attributes = {{{1, "", "val<350", false, {zel::kSpecialTempC}}, {1, 3}, 2},
                    {{3, "", "", false, {zel::kSpecialPowerCycle}}, {0, 2}, 2},
                    {{2, "", "diff==0 || #2!=7"}, {4, 5}, 0xC0}};
    return zel::nvmeLayout(c);
}

const zel::RegistryLookup kNoRegistry = [](const std::string&) { return std::optional<std::string>(); };

}  // namespace

// The same verdicts and texts for both protocols: marks ("*" conflict, "-"
// changed, none for an all-0xFF reference), "#N", empty cells for readings
// not given, the conflict list in attribute order, and one table per page.
TEST(SmartCompare, TablesAndConflictLists) {
    const std::tuple<zel::SmartLayout, SmartReadings, const char*> cases[] = {
        {sataLayout(),
         {{{11, 0, 0, 0, 0, 0}, {2, 1}, {10}}, SmartReading{{11, 0, 0, 0, 0, 0}, {3, 1}, {10}},
          SmartReading{{0, 0, 0, 0, 0, 0}, {}, {30}}},
         "===== SATA SMART Data =====\n"
         "  ID              Curr Value      Prev Value      Init Value      Description\n"
         "* 0x05            11              11              0               Realloc\n"
         "* 0x09[1:0]       258             259                             Hours\n"
         "  0xC2[0]         10              10              30              Temp\n"
         "SMART Value Conflicts:\n"
         "  -ID: 0x5[5:0], Limit: val<=10\n"
         "  -ID: 0x9[1:0], Limit: diff>=0\n"},
        {nvmeLayout(), {{{0x2C, 0x01}, {1, 0}, {7}}, SmartReading{{0x2B, 0x01}, {0xFF, 0xFF}, {6}}, std::nullopt},
         "===== NVMe Log Page 0x2 Data =====\n"
         "  Offset          Curr Value      Prev Value      Init Value      Description\n"
         "- 2:1             27              26\n"
         "  1:0             1               65535\n"
         "===== NVMe Log Page 0xC0 Data =====\n"
         "  Offset          Curr Value      Prev Value      Init Value      Description\n"
         "* 4:4             7               6\n"
         "SMART Value Conflicts:\n"
         "  -Offset: [C0]4:4, Limit: diff==0 || #2!=7\n"},
    };
    for (const auto& [layout, readings, table] : cases) {
        const zel::SmartVerdicts verdicts = zel::judgeReadings(layout, readings, kNoRegistry, 0);
        EXPECT_EQ(zel::renderSmartTable(layout, verdicts, 16), table);
        EXPECT_EQ(verdicts.noConflict(), std::string(table).find("Conflicts") == std::string::npos);
    }
}

// The result file's records carry the table's texts, the effective limit
// and the current bytes as a number; the csv row the current texts.
TEST(SmartCompare, CsvAndJsonRecords) {
    const zel::SmartLayout layout = nvmeLayout();
    const SmartReadings readings{{{0x2C, 0x01}, {}, {7}}, SmartReading{{0x2C, 0x01}, {0xFF, 0xFF}}, std::nullopt};
    const zel::SmartVerdicts verdicts = zel::judgeReadings(layout, readings, kNoRegistry, 0);
    const zel::Json info = zel::smartInfoJson(layout, verdicts, "t");
    EXPECT_EQ(info.dump(),
              R"({"protocol":"nvme","time":"t","result":"conflict","attributes":[)"
              R"({"log_page":2,"id":"2:1","description":"","limit":"val<350","current":"27","previous":"27",)"
              R"("initial":"","value":300,"mark":""},)"
              R"({"log_page":2,"id":"1:0","description":"","limit":"","current":"","previous":"65535",)"
              R"("initial":"","value":null,"mark":""},)"
              R"({"log_page":192,"id":"4:4","description":"","limit":"diff==0 || #2!=7","current":"7",)"
              R"("previous":"","initial":"","value":7,"mark":"*"}]})");
    const zel::SmartLayout ata = sataLayout();
    const zel::Json sataInfo = zel::smartInfoJson(ata, zel::judgeReadings(ata, {}, kNoRegistry, 0), "t");
    EXPECT_EQ(sataInfo["attributes"][0].dump(),
              R"({"id":"0x05","description":"Realloc","limit":"val<=10","current":"","previous":"",)"
              R"("initial":"","value":null,"mark":""})");

    EXPECT_EQ(zel::csvLine(zel::smartCsvRow(layout, readings.current, "t")), "t,27,,7\n");
    EXPECT_EQ(zel::csvLine(zel::smartCsvHeadings(ata)), "time,(Realloc) 0x05,(Hours) 0x09[1:0],(Temp) 0xC2[0]\n");
    EXPECT_EQ(zel::csvLine({"time", "(Realloc, count) 0x05", "say \"hi\"", ""}),
              "time,\"(Realloc, count) 0x05\",\"say \"\"hi\"\"\",\n");
    EXPECT_EQ(zel::unsignedValue({0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x01}), UINT64_MAX);
}
