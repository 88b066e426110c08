#include <gtest/gtest.h>

#include "core/TextFormat.h"
#include "smart/IniText.h"
#include "smart/SmartPages.h"

namespace {

// Sections for C0h (twice) and 02h; the first section per page counts.
const char kSections[] =
    "[global]\ntest_sections = a, b, c\n[a]\nprotocol = nvme\nlog_page = 0xC0\nlog_page_size = 4k\n"
    "log_page_offset = 16\nattr_amount = 0\n[b]\nprotocol = nvme\nlog_page = 2\nattr_amount = 0\n"
    "[c]\nprotocol = nvme\nlog_page = 0xC0\nlog_page_size = 64\nattr_amount = 0\n";

// "id size offset" per page, then the warnings.
std::string planText(const zel::SmartPagePlan& plan) {
    std::string text;
    for (const auto& p : plan.pages) text += zel::formatText("%X %u %u, ", p.logId, p.size, p.offset);
    for (const auto& w : plan.warnings) text += w;
    return text;
}

}  // namespace

// The sections' pages or lid in its order; sizes pair by position (0 keeps
// the default, 512 without a section); none configured reads 02h.
TEST(SmartPages, NvmePagesComeFromLidOrTheConfiguration) {
    zel::NvmeConfig config;
    ASSERT_TRUE(zel::parseNvmeConfig(zel::IniText(kSections).lookup(), &config));
    const std::pair<zel::SmartPagePlan, const char*> cases[] = {
        {zel::planNvmePages({}, {}, config), "C0 4096 16, 2 512 0, "},
        {zel::planNvmePages({2, 0xC0, 1}, {256}, config), "2 256 0, C0 4096 16, 1 512 0, "},
        {zel::planNvmePages({}, {0, 1024}, config), "C0 4096 16, 2 1024 0, "},
        {zel::planNvmePages({}, {}, zel::NvmeConfig{}), "2 512 0, "},
        {zel::planNvmePages({2}, {512, 64, 8}, zel::NvmeConfig{}),
         "2 512 0, lpsize lists 3 sizes for 1 log pages; the extra sizes are ignored"},
    };
    for (const auto& [plan, expected] : cases) EXPECT_EQ(planText(plan), expected);
}
