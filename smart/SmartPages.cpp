#include "smart/SmartPages.h"

#include "core/TextFormat.h"

namespace zel {
namespace {

const LogPageConfig* sectionOf(const NvmeConfig& config, int32_t logId) {
    for (const LogPageConfig& page : config.logPages)
        if (page.logPageId == logId) return &page;
    return nullptr;
}

SmartPage pageFor(const NvmeConfig& config, int32_t logId) {
    SmartPage page{logId, kDefaultLogPageSize, 0};
    if (const LogPageConfig* section = sectionOf(config, logId)) {
        if (section->size != 0) page.size = section->size;
        page.offset = section->offset;
    }
    return page;
}

std::vector<int32_t> configuredIds(const NvmeConfig& config) {
    std::vector<int32_t> ids;
    for (const LogPageConfig& page : config.logPages)
        if (sectionOf(config, page.logPageId) == &page) ids.push_back(page.logPageId);
    if (ids.empty()) ids.push_back(kSmartHealthLogPage);
    return ids;
}

}  // namespace

SmartPagePlan planSataPages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes) {
    SmartPagePlan plan;
    plan.pages.push_back(SmartPage{0, 512, 0});
    if (!logIds.empty() || !sizes.empty())
        plan.warnings.push_back("--lid and --lpsize apply to NVMe disks only; reading the SMART data sector");
    return plan;
}

SmartPagePlan planNvmePages(const std::vector<uint32_t>& logIds, const std::vector<uint32_t>& sizes,
                            const NvmeConfig& config) {
    SmartPagePlan plan;
    std::vector<int32_t> ids;
    if (logIds.empty())
        ids = configuredIds(config);
    else
        for (uint32_t id : logIds) ids.push_back(static_cast<int32_t>(id));
    for (int32_t id : ids) plan.pages.push_back(pageFor(config, id));
    for (size_t i = 0; i < sizes.size() && i < plan.pages.size(); ++i)
        if (sizes[i] != 0) plan.pages[i].size = sizes[i];
    if (sizes.size() > plan.pages.size())
        plan.warnings.push_back(formatText("lpsize lists %d sizes for %d log pages; the extra sizes are ignored",
                                           static_cast<int>(sizes.size()), static_cast<int>(plan.pages.size())));
    return plan;
}

}  // namespace zel
