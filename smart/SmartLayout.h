#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "smart/LimitCheck.h"
#include "smart/SmartConfig.h"

namespace zel {

// One configured attribute as both protocols show it: everything the
// verdicts and the texts need, so that neither looks at the protocol again.
struct SmartField {
    AttrConfig attribute;      // limit, type, description
    uint32_t lookupId = 0;     // what "#N" in a limit names
    int32_t logPageId = -1;    // -1 where pages do not apply (SATA)
    std::string label;         // ID / Offset column and the JSON "id"
    std::string conflictId;    // names the attribute in the conflict list
    std::string csvHeading;
    std::string iniSection;
    std::string iniKey;
    std::function<std::string(const SmartBytes&)> valueText;
};

// A table of consecutive fields under one title.
struct SmartTableGroup {
    std::string title;
    size_t first = 0;
    size_t end = 0;
};

struct SmartLayout {
    std::string protocol;   // "ata" or "nvme"
    std::string idHeading;  // "ID" or "Offset"
    std::vector<SmartTableGroup> tables;
    std::vector<SmartField> fields;  // in configuration order
};

// SATA: one table; "#N" names the first attribute with id N.
SmartLayout sataLayout(const SataConfig& config);
// NVMe: one table per section's log page; "#N" names the first attribute
// configured in slot N.
SmartLayout nvmeLayout(const NvmeConfig& config);

}  // namespace zel
