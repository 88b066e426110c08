#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "smart/SmartConfig.h"

namespace zel {

// One page a smart run reads: the SMART data sector of an ATA disk (id 0),
// or an NVMe log page from `offset` of the page.
struct SmartPage {
    int32_t logId = 0;
    uint32_t size = 0;
    uint32_t offset = 0;
};

struct SmartPagePlan {
    std::vector<SmartPage> pages;
    std::vector<std::string> warnings;  // WARNING lines for the caller to log
};

constexpr uint32_t kDefaultLogPageSize = 512;
constexpr int32_t kSmartHealthLogPage = 0x02;

// ATA disks read one page, the SMART data sector; log page ids do not apply.
SmartPagePlan planSataPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes);

// NVMe: the pages of `lid` in order, or when it is empty the pages the
// configuration's sections name (first section per page), or else the
// SMART / health page. `lpsize` pairs with the pages by position; a page
// without a size takes its section's "log_page_size", else 512 bytes. A
// section's "log_page_offset" applies to its page.
SmartPagePlan planNvmePages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes,
                            const NvmeConfig& config);

}  // namespace zel
