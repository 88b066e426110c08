#include <gtest/gtest.h>

#include "core/ErrorCodes.h"
#include "smart/IniText.h"
#include "smart/SmartConfig.h"
#include "tests/support/LogCapture.h"

namespace {

const char* const kSata = R"(
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
)";

}  // namespace

TEST(SmartConfig, SataAttributesInSectionThenSlotOrder) {
    const zel::IniText ini(kSata);
    zel::SataConfig config;
    ASSERT_TRUE(zel::parseSataConfig(ini.lookup(), &config));
    EXPECT_EQ(config.numberBase, 16);
    EXPECT_TRUE(config.includeReservedByte);
    EXPECT_FALSE(config.skip2cf4);
    ASSERT_EQ(config.attributes.size(), 3u);
    const struct {
        int index, id, first, end;
        const char* description;
        const char* limit;
        bool isString;
        uint8_t code;
    } expected[] = {{1, 5, 0, 6, "Reallocated sectors", "val<=10", false, 0},
                    {3, 9, 0, 4, "", "", false, zel::kSpecialPowerOnHours},
                    {2, 12, 0, 7, "", "", true, 0}};
    for (size_t i = 0; i < 3; ++i) {
        const zel::SataAttrConfig& got = config.attributes[i];
        EXPECT_EQ(got.index, expected[i].index) << i;
        EXPECT_EQ(got.slice.id, expected[i].id) << i;
        EXPECT_EQ(got.slice.first, expected[i].first) << i;
        EXPECT_EQ(got.slice.end, expected[i].end) << i;
        EXPECT_EQ(got.description, expected[i].description) << i;
        EXPECT_EQ(got.limit, expected[i].limit) << i;
        EXPECT_EQ(got.isString, expected[i].isString) << i;
        EXPECT_EQ(got.firstCode(), expected[i].code) << i;
    }
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
    EXPECT_EQ(config.numberBase, 10);
    ASSERT_EQ(config.logPages.size(), 2u);
    EXPECT_EQ(config.logPages[0].logPageId, 2);
    EXPECT_EQ(config.logPages[0].size, 512);
    EXPECT_EQ(config.logPages[0].firstAttribute, 0u);
    EXPECT_EQ(config.logPages[1].logPageId, 0xC0);
    EXPECT_EQ(config.logPages[1].offset, 64);
    EXPECT_EQ(config.logPages[1].firstAttribute, 2u);
    ASSERT_EQ(config.attributes.size(), 3u);
    const struct {
        int low, end, page;
    } expected[] = {{1, 3, 2}, {16, 17, 2}, {0, 8, 0xC0}};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(config.attributes[i].range.low, expected[i].low) << i;
        EXPECT_EQ(config.attributes[i].range.end, expected[i].end) << i;
        EXPECT_EQ(config.attributes[i].logPageId, expected[i].page) << i;
    }
    EXPECT_EQ(config.attributes[0].firstCode(), zel::kSpecialTempC);
}

TEST(SmartConfig, RefusedConfigurations) {
    const struct {
        const char* text;
        bool nvme;
        const char* warning;
    } cases[] = {
        {"[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=1\nattr_id_1=1", false,
         "Assigned section is not for SATA"},
        {"[global]\ntest_sections=a\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1", true,
         "Assigned section is not for NVMe"},
        {"[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ATA", false,
         "Assigned section is not for SATA"},
        {"[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ata", false,
         "attr_amount is not found"},
        {"[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=-1", true, "attr_amount is not found"},
        {"[global]\ntest_sections=a,\n[a]\nprotocol=ata\nattr_amount=1", false, "Assigned section is not for SATA"},
    };
    for (const auto& c : cases) {
        const zel::IniText ini(c.text);
        zeltest::LogCapture log;
        zel::setLastError(0);
        zel::SataConfig sata;
        zel::NvmeConfig nvme;
        EXPECT_FALSE(c.nvme ? zel::parseNvmeConfig(ini.lookup(), &nvme) : zel::parseSataConfig(ini.lookup(), &sata));
        EXPECT_TRUE(sata.attributes.empty() && nvme.attributes.empty() && nvme.logPages.empty()) << c.text;
        EXPECT_EQ(zel::lastError(), zel::err::kSmartParse) << c.text;
        EXPECT_TRUE(log.contains(std::string("WARNING  ") + c.warning)) << c.text << "\n" << log.text();
    }
}

TEST(SmartConfig, EmptyConfigurationsAndValueLimits) {
    for (const char* text : {"", "[global]\nnumber_base=16", "[global]\ntest_sections =  "}) {
        const zel::IniText ini(text);
        zel::SataConfig config;
        EXPECT_TRUE(zel::parseSataConfig(ini.lookup(), &config)) << text;
        EXPECT_TRUE(config.attributes.empty());
    }
    // Cut to the 256-character buffer first, then trimmed.
    const std::string limit = std::string(250, '1') + std::string(10, ' ') + "tail";
    const zel::IniText ini("[global]\ntest_sections=a\n[a]\nprotocol=ata\nattr_amount=3\nattr_id_1=1\n"
                           "attr_limit_1=" + limit + "\nattr_id_2=\nattr_desc_3=x\n");
    zel::SataConfig config;
    ASSERT_TRUE(zel::parseSataConfig(ini.lookup(), &config));
    ASSERT_EQ(config.attributes.size(), 1u);
    EXPECT_EQ(config.attributes[0].limit, std::string(250, '1'));
}
