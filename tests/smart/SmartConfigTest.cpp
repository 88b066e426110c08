#include <gtest/gtest.h>

#include "core/ErrorCodes.h"
#include "core/TextFormat.h"
#include "smart/IniText.h"
#include "smart/SmartConfig.h"
#include "tests/support/LogCapture.h"

namespace {

// "N|selector|description|limit|s or n|codes" per attribute.
std::string describe(const zel::AttrConfig& a, const std::string& selector) {
    std::string codes;
    for (uint8_t code : a.specialCodes) codes += std::to_string(code);
    return zel::formatText("%d|%s|%s|%s|%c|%s", a.index, selector.c_str(), a.description.c_str(), a.limit.c_str(),
                           a.isString ? 's' : 'n', codes.c_str());
}

}  // namespace

TEST(SmartConfig, SataAttributesInSectionThenSlotOrder) {
    const zel::IniText ini(R"(
[global]
number_base = 16
test_sections = first , second
[first]
protocol=ata
attr_amount=4
attr_id_1 = 5
attr_desc_1 =  Reallocated sectors
attr_limit_1 = val<=10
attr_id_01 = 7
attr_id_3 = 0x09[3:0]
attr_type_3 = number,$pwronhr
attr_id_5 = 12
[SECOND]
protocol = ata
include_reserved_byte = 1
attr_amount = 2
ATTR_ID_2 = 12
attr_type_2 = string
)");
    zel::SataConfig config;
    ASSERT_TRUE(zel::parseSataConfig(ini.lookup(), &config));
    EXPECT_EQ(config.numberBase, 16);
    EXPECT_TRUE(config.includeReservedByte);
    std::vector<std::string> got;
    for (const auto& a : config.attributes)
        got.push_back(describe(a, zel::formatText("%d[%d,%d)", a.slice.id, a.slice.first, a.slice.end)));
    EXPECT_EQ(got, (std::vector<std::string>{"1|5[0,6)|Reallocated sectors|val<=10|n|0", "3|9[0,4)|||n|4",
                                             "2|12[0,7)|||s|0"}));
}

TEST(SmartConfig, NvmeSectionsBecomeLogPages) {
    const zel::IniText ini(R"(
[global]
test_sections = health,vendor
[health]
protocol = nvme
log_page = 2
log_page_size = 512
attr_amount = 2
attr_id_1 = 2:1
attr_type_1 = number,$tempc
attr_id_2 = 0x10
[vendor]
protocol = nvme
log_page = 0xC0
log_page_offset = 64
attr_amount = 1
attr_id_1 = [7:0]
)");
    zel::NvmeConfig config;
    ASSERT_TRUE(zel::parseNvmeConfig(ini.lookup(), &config));
    std::vector<std::string> got;
    for (const auto& p : config.logPages)
        got.push_back(zel::formatText("page %X from %zu size %d offset %d", p.logPageId, p.firstAttribute, p.size,
                                      p.offset));
    for (const auto& a : config.attributes)
        got.push_back(describe(a, zel::formatText("%X:[%d,%d)", a.logPageId, a.range.low, a.range.end)));
    EXPECT_EQ(got, (std::vector<std::string>{"page 2 from 0 size 512 offset 0", "page C0 from 2 size 0 offset 64",
                                             "1|2:[1,3)|||n|6", "2|2:[16,17)|||n|0", "1|C0:[0,8)|||n|0"}));
}

// A wrong protocol anywhere fails before any attribute is read; a section
// without attr_amount fails the parse after the earlier sections appended theirs.
TEST(SmartConfig, RefusedConfigurations) {
    const struct {
        const char* text;
        bool nvme;
        const char* warning;
        size_t kept;  // attributes (and NVMe log pages) left in the list
    } cases[] = {
        {"[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=1\nattr_id_1=1", false,
         "Assigned section is not for SATA", 0},
        {"[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ATA", false,
         "Assigned section is not for SATA", 0},
        {"[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ata", false,
         "attr_amount is not found", 1},
        {"[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=-1", true, "attr_amount is not found", 0},
        {"[global]\ntest_sections=a,b,c\n[a]\nprotocol=nvme\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=nvme\n"
         "log_page=3\n[c]\nprotocol=nvme\nattr_amount=1\nattr_id_1=2",
         true, "attr_amount is not found", 1},
    };
    for (const auto& c : cases) {
        const zel::IniText ini(c.text);
        zeltest::LogCapture log;
        zel::setLastError(0);
        zel::SataConfig sata;
        zel::NvmeConfig nvme;
        EXPECT_FALSE(c.nvme ? zel::parseNvmeConfig(ini.lookup(), &nvme) : zel::parseSataConfig(ini.lookup(), &sata));
        EXPECT_EQ(c.nvme ? nvme.attributes.size() : sata.attributes.size(), c.kept) << c.text;
        EXPECT_EQ(nvme.logPages.size(), c.nvme ? c.kept : 0u) << c.text;
        EXPECT_EQ(zel::lastError(), zel::err::kSmartParse) << c.text;
        EXPECT_TRUE(log.contains(std::string("WARNING  ") + c.warning)) << c.text << "\n" << log.text();
    }
}

TEST(SmartConfig, EmptyConfigurationsAndLongValues) {
    for (const char* text : {"", "[global]\nnumber_base=16", "[global]\ntest_sections =  "}) {
        zel::SataConfig config;
        EXPECT_TRUE(zel::parseSataConfig(zel::IniText(text).lookup(), &config)) << text;
        EXPECT_TRUE(config.attributes.empty());
    }
    // Cut to the 256-character buffer first, then trimmed; an empty selector is no slot.
    const std::string limit = std::string(250, '1') + std::string(10, ' ') + "tail";
    const zel::IniText ini("[global]\ntest_sections=a\n[a]\nprotocol=ata\nattr_amount=3\nattr_id_1=1\n"
                           "attr_limit_1=" + limit + "\nattr_id_2=\nattr_desc_3=x\n");
    zel::SataConfig config;
    ASSERT_TRUE(zel::parseSataConfig(ini.lookup(), &config));
    ASSERT_EQ(config.attributes.size(), 1u);
    EXPECT_EQ(config.attributes[0].limit, std::string(250, '1'));
}
