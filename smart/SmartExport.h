#pragma once

#include <string>

#include "core/ActionResultJson.h"
#include "smart/SmartCompare.h"
#include "smart/SmartLayout.h"

namespace zel {

// What a smart run stores as "smart_info" of its disk in the JSON result
// file: the reading's time and verdict, and one object per configured
// attribute with the texts of the table, the effective limit and the
// current value as a number (null when the reading had no such bytes).
Json smartInfoJson(const SmartLayout& layout, const SmartVerdicts& verdicts, const std::string& time);

}  // namespace zel
