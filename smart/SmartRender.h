#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "smart/SmartCompare.h"
#include "smart/SmartLayout.h"

namespace zel {

// The texts of a judged reading, the same for both protocols.

// "*" for a conflict, "-" for a value changed since the previous reading,
// nothing for a skipped attribute (its reference holds no reading).
std::string verdictMark(const SmartVerdict& verdict);

// The attribute's value texts: the table's Curr, Prev and Init columns and
// the JSON's "current", "previous", "initial"; empty where not given.
std::string currentText(const SmartField& field, const SmartVerdict& verdict);
std::string previousText(const SmartField& field, const SmartVerdict& verdict);
std::string initialText(const SmartField& field, const SmartVerdict& verdict);

// Every table (a 2-character mark column, then columns padded to `width`),
// then "SMART Value Conflicts:" with a line per conflict, when any.
std::string renderSmartTable(const SmartLayout& layout, const SmartVerdicts& verdicts, size_t width);

// Csv cells of a reading; the time stamp is the first cell.
std::vector<std::string> smartCsvHeadings(const SmartLayout& layout);
std::vector<std::string> smartCsvRow(const SmartLayout& layout, const SmartReading& reading, const std::string& time);
// One csv line with its newline; cells holding a comma or a quote are quoted.
std::string csvLine(const std::vector<std::string>& cells);

}  // namespace zel
