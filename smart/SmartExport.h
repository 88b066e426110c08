#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/ActionResultJson.h"
#include "smart/SmartCompare.h"

namespace zel {

// What a smart run stores as "smart_info" of its disk in the JSON result
// file: the reading's time and verdict, and one object per configured
// attribute with the texts of the table, the effective limit and the
// current value as a number (null when the reading had no such bytes).
// pageIds: the log page of each attribute (-1 for SATA, which has none).
Json smartInfoJson(const std::string& protocol, const std::string& time, const SmartComparison& comparison,
                   const SmartReading& current, const std::vector<int32_t>& pageIds);

}  // namespace zel
