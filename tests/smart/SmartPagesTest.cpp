#include <gtest/gtest.h>

#include "smart/IniText.h"
#include "smart/SmartPages.h"

namespace {

zel::NvmeConfig configOf(const char* text) {
    zel::IniText ini(text);
    zel::NvmeConfig config;
    EXPECT_TRUE(zel::parseNvmeConfig(ini.lookup(), &config));
    return config;
}

std::vector<std::tuple<int, unsigned, unsigned>> pagesOf(const zel::SmartPagePlan& plan) {
    std::vector<std::tuple<int, unsigned, unsigned>> out;
    for (const auto& p : plan.pages) out.emplace_back(p.logId, p.size, p.offset);
    return out;
}

const char kTwoSections[] = R"([global]
test_sections = a, b, c
[a]
protocol = nvme
log_page = 0xC0
log_page_size = 4k
log_page_offset = 16
attr_amount = 0
[b]
protocol = nvme
log_page = 2
attr_amount = 0
[c]
protocol = nvme
log_page = 0xC0
log_page_size = 64
attr_amount = 0
)";

}  // namespace

TEST(SmartPages, NvmePagesComeFromLidOrTheConfiguration) {
    const zel::NvmeConfig config = configOf(kTwoSections);
    using T = std::tuple<int, unsigned, unsigned>;
    // The sections' pages, the first section per page; size 0 reads 512.
    EXPECT_EQ(pagesOf(zel::planNvmePages({}, {}, config)), (std::vector<T>{{0xC0, 4096, 16}, {2, 512, 0}}));
    // lid in its order, sizes by position, the section's offset kept.
    EXPECT_EQ(pagesOf(zel::planNvmePages({2, 0xC0, 1}, {256}, config)),
              (std::vector<T>{{2, 256, 0}, {0xC0, 4096, 16}, {1, 512, 0}}));
    EXPECT_EQ(pagesOf(zel::planNvmePages({}, {0, 1024}, config)), (std::vector<T>{{0xC0, 4096, 16}, {2, 1024, 0}}))
        << "a size of 0 keeps the default";
    EXPECT_EQ(pagesOf(zel::planNvmePages({}, {}, zel::NvmeConfig{})), (std::vector<T>{{2, 512, 0}}));
}

TEST(SmartPages, SurplusOptionsAreWarnedAbout) {
    const zel::SmartPagePlan nvme = zel::planNvmePages({2}, {512, 64, 8}, zel::NvmeConfig{});
    ASSERT_EQ(nvme.warnings.size(), 1u);
    EXPECT_EQ(nvme.warnings[0], "lpsize lists 3 sizes for 1 log pages; the extra sizes are ignored");
    EXPECT_TRUE(zel::planSataPages({}, {}).warnings.empty()) << "lid on a SATA disk is warned about end to end";
}
