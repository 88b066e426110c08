#include "smart/SmartLayout.h"

#include <algorithm>

#include "core/TextFormat.h"
#include "smart/ValueText.h"

namespace zel {

SmartLayout sataLayout(const SataConfig& config) {
    SmartLayout layout{"ata", "ID", {{"===== SATA SMART Data =====", 0, config.attributes.size()}}, {}};
    const int32_t base = config.numberBase;
    for (const SataAttrConfig& a : config.attributes) {
        SmartField f;
        f.attribute = a;
        f.lookupId = a.slice.id;
        f.label = sataLabel(a.slice, config.includeReservedByte);
        f.conflictId = sataConflictId(a.slice);
        f.csvHeading = sataCsvHeading(a.description, a.slice, config.includeReservedByte);
        f.iniSection = "smart";
        f.iniKey = std::to_string(a.slice.id);
        const SataSelector slice = a.slice;
        f.valueText = [slice, base](const SmartBytes& b) { return sataValueText(b, slice, base); };
        layout.fields.push_back(std::move(f));
    }
    return layout;
}

SmartLayout nvmeLayout(const NvmeConfig& config) {
    SmartLayout layout{"nvme", "Offset", {}, {}};
    const size_t n = config.attributes.size();
    for (size_t p = 0; p < config.logPages.size(); ++p) {
        const LogPageConfig& page = config.logPages[p];
        const size_t end = p + 1 < config.logPages.size() ? config.logPages[p + 1].firstAttribute : n;
        layout.tables.push_back({formatText("===== NVMe Log Page 0x%X Data =====", page.logPageId),
                                 std::min(page.firstAttribute, n), std::min(end, n)});
    }
    const int32_t base = config.numberBase;
    for (const NvmeAttrConfig& a : config.attributes) {
        SmartField f;
        f.attribute = a;
        f.lookupId = static_cast<uint32_t>(a.index);
        f.logPageId = a.logPageId;
        f.label = nvmeLabel(a.range);
        f.conflictId = nvmeConflictId(a.logPageId, a.range);
        f.csvHeading = nvmeCsvHeading(a.logPageId, a.range, a.description);
        f.iniSection = formatText("lid_%d", a.logPageId);
        f.iniKey = formatText("%d:%d", static_cast<int>(a.range.end) - 1, static_cast<int>(a.range.low));
        const bool isString = a.isString;
        const uint8_t code = a.firstCode();
        f.valueText = [base, isString, code](const SmartBytes& b) { return nvmeValueText(b, base, isString, code); };
        layout.fields.push_back(std::move(f));
    }
    return layout;
}

}  // namespace zel
