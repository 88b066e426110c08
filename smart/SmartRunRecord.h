#pragma once

#include <string>
#include <vector>

#include "core/ActionResultJson.h"
#include "core/ErrorCodes.h"

namespace zel {

// One attribute's verdict as the check found it.
struct SmartAttributeVerdict {
    std::string id;  // the attribute's label, as "smart_info" names it
    bool conflict = false;
    bool skipped = false;  // an all-0xFF reference: not judged
    bool changed = false;  // differs from the previous reading
};

// One smart run as the run record shows it: the "smart_info" entry it put
// in the action result file, and each attribute's verdict.
struct SmartRunRecord {
    Json smartInfo;  // null when the check did not get that far
    std::vector<SmartAttributeVerdict> verdicts;
    ErrorCode result = 0;
};

}  // namespace zel
