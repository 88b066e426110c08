#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "smart/SmartConfig.h"
#include "smart/SmartData.h"
#include "smart/VariableLimit.h"

namespace zel {

// The readings of one run; previous and initial only when bin files gave them.
struct SmartReadings {
    SmartReading current;
    std::optional<SmartReading> previous;
    std::optional<SmartReading> initial;
};

// What the comparison leaves for the Windows side to do and show.
struct SmartComparison {
    std::string table;      // the tables, then the conflict list when any
    bool noConflict = true;
    std::vector<std::string> warnings;           // WARNING lines, in order
    std::optional<uint64_t> powerOnCheckTime;    // store into "last_pwr_on_hr"
    std::vector<std::string> effectiveLimits;    // per attribute
    std::vector<bool> conflicts;                 // per attribute
    // Per attribute: mark, label, current, previous, initial, description.
    std::vector<std::vector<std::string>> rows;
};

// Table columns are padded to `width` characters (16 for the out-log file).
SmartComparison compareSata(const SataConfig& config, const SmartReadings& readings, const RegistryLookup& registry,
                            uint64_t nowMs, size_t width);
SmartComparison compareNvme(const NvmeConfig& config, const SmartReadings& readings, const RegistryLookup& registry,
                            uint64_t nowMs, size_t width);

// Csv cells of a reading; the time stamp is the first cell.
std::vector<std::string> sataCsvHeadings(const SataConfig& config);
std::vector<std::string> nvmeCsvHeadings(const NvmeConfig& config);
std::vector<std::string> sataCsvRow(const SataConfig& config, const SmartReading& reading, const std::string& time);
std::vector<std::string> nvmeCsvRow(const NvmeConfig& config, const SmartReading& reading, const std::string& time);
// One csv line with its newline; cells holding a comma or a quote are quoted.
std::string csvLine(const std::vector<std::string>& cells);

// Unsigned value of up to the first 8 bytes, little-endian (the ini files).
uint64_t unsignedValue(const SmartBytes& bytes);

}  // namespace zel
