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

// The parse answer, then every NVMe log page and every attribute described.
std::vector<std::string> parse(bool nvme, const std::string& text) {
    const zel::IniText ini(text);
    zel::SataConfig sata;
    zel::NvmeConfig config;
    const bool ok = nvme ? zel::parseNvmeConfig(ini.lookup(), &config) : zel::parseSataConfig(ini.lookup(), &sata);
    std::vector<std::string> got{ok ? "ok" : "failed"};
    if (!nvme) got.push_back(zel::formatText("base %d reserved %d", sata.numberBase, sata.includeReservedByte));
    for (const auto& a : sata.attributes)
        got.push_back(describe(a, zel::formatText("%d[%d,%d)", a.slice.id, a.slice.first, a.slice.end)));
    for (const auto& p : config.logPages)
        got.push_back(zel::formatText("page %X from %zu size %d offset %d", p.logPageId, p.firstAttribute, p.size,
                                      p.offset));
    for (const auto& a : config.attributes)
        got.push_back(describe(a, zel::formatText("%X:[%d,%d)", a.logPageId, a.range.low, a.range.end)));
    return got;
}

using Lines = std::vector<std::string>;

}  // namespace

// Sections in order, then slots; a wrong protocol anywhere fails before any
// attribute is read, a section without attr_amount after the earlier
// sections appended theirs. Values are cut to the 256-character buffer and
// then trimmed; an empty selector is no slot.
TEST(SmartConfig, SectionsSlotsAndRefusals) {
    const std::string longLimit = std::string(250, '1') + std::string(10, ' ') + "tail";
    // NVMe or SATA, the file, the parse, and the warning with kSmartParse as the last error.
    const std::tuple<bool, std::string, Lines, const char*> cases[] = {
        {false,
         "[global]\nnumber_base = 16\ntest_sections = first , second\n[first]\nprotocol=ata\nattr_amount=4\n"
         "attr_id_1 = 5\nattr_desc_1 =  Reallocated sectors\nattr_limit_1 = val<=10\nattr_id_01 = 7\n"
         "attr_id_3 = 0x09[3:0]\nattr_type_3 = number,$pwronhr\nattr_id_5 = 12\n[SECOND]\nprotocol = ata\n"
         "include_reserved_byte = 1\nattr_amount = 2\nATTR_ID_2 = 12\nattr_type_2 = string\n",
         {"ok", "base 16 reserved 1", "1|5[0,6)|Reallocated sectors|val<=10|n|0", "3|9[0,4)|||n|4",
          "2|12[0,7)|||s|0"},
         nullptr},
        {true,
         "[global]\ntest_sections = health,vendor\n[health]\nprotocol = nvme\nlog_page = 2\nlog_page_size = 512\n"
         "attr_amount = 2\nattr_id_1 = 2:1\nattr_type_1 = number,$tempc\nattr_id_2 = 0x10\n[vendor]\n"
         "protocol = nvme\nlog_page = 0xC0\nlog_page_offset = 64\nattr_amount = 1\nattr_id_1 = [7:0]\n",
         {"ok", "page 2 from 0 size 512 offset 0", "page C0 from 2 size 0 offset 64", "1|2:[1,3)|||n|6",
          "2|2:[16,17)|||n|0", "1|C0:[0,8)|||n|0"},
         nullptr},
        {false, "", {"ok", "base 10 reserved 0"}, nullptr},
        {false, "[global]\ntest_sections =  \n", {"ok", "base 10 reserved 0"}, nullptr},
        {false, "[global]\ntest_sections=a\n[a]\nprotocol=ata\nattr_amount=3\nattr_id_1=1\nattr_limit_1=" + longLimit +
                    "\nattr_id_2=\nattr_desc_3=x\n",
         {"ok", "base 10 reserved 0", "1|1[0,6)||" + std::string(250, '1') + "|n|0"}, nullptr},
        {false, "[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=1\nattr_id_1=1",
         {"failed", "base 10 reserved 0"}, "Assigned section is not for SATA"},
        {false, "[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ATA",
         {"failed", "base 10 reserved 0"}, "Assigned section is not for SATA"},
        {false, "[global]\ntest_sections=a,b\n[a]\nprotocol=ata\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=ata",
         {"failed", "base 10 reserved 0", "1|1[0,6)|||n|0"}, "attr_amount is not found"},
        {true, "[global]\ntest_sections=a\n[a]\nprotocol=nvme\nattr_amount=-1", {"failed"}, "attr_amount is not found"},
        {true,
         "[global]\ntest_sections=a,b,c\n[a]\nprotocol=nvme\nattr_amount=1\nattr_id_1=1\n[b]\nprotocol=nvme\n"
         "log_page=3\n[c]\nprotocol=nvme\nattr_amount=1\nattr_id_1=2",
         {"failed", "page 0 from 0 size 0 offset 0", "1|0:[1,2)|||n|0"}, "attr_amount is not found"},
    };
    for (const auto& [nvme, text, expected, warning] : cases) {
        zeltest::LogCapture log;
        zel::setLastError(0);
        EXPECT_EQ(parse(nvme, text), expected) << text;
        if (!warning) continue;
        EXPECT_EQ(zel::lastError(), zel::err::kSmartParse) << text;
        EXPECT_TRUE(log.contains(std::string("WARNING  ") + warning)) << text << "\n" << log.text();
    }
}
