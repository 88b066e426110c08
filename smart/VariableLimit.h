#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "smart/LimitCheck.h"

namespace zel {

// HKEY_LOCAL_MACHINE key of the counters kept between runs, and its values
// (REG_SZ, decimal text).
constexpr const char* kSmartRegistryKey = "SOFTWARE\\ZEL\\smart";
constexpr const char* kRegPowerCycleRetries = "pwrcycle_retry_cnt";
constexpr const char* kRegGsdRetries = "gsd_retry_cnt";
constexpr const char* kRegUgsdRetries = "ugsd_retry_cnt";
constexpr const char* kRegLastSuccess = "last_success";      // ms since 1601, local time
constexpr const char* kRegLastPowerOnHr = "last_pwr_on_hr";  // ms since 1601, local time
constexpr const char* kRegMonitorPeriod = "monitor_period";  // seconds, floating point

// A registry value's text by name; nothing when the value is absent.
using RegistryLookup = std::function<std::optional<std::string>(const std::string& name)>;

enum SpecialAnswer : int { kSpecialSkip = 0, kSpecialCheck = 1, kSpecialWarned = 4 };

struct SpecialLimitResult {
    int answer = kSpecialCheck;  // only kSpecialCheck lets the limit check run
    std::string limit;           // the effective limit
    // When set, the caller stores it as decimal text into "last_pwr_on_hr".
    std::optional<uint64_t> powerOnCheckTime;
    std::string warning;  // a WARNING line for the caller to log, or empty
};

// Turns an attribute's special code into its effective limit. current and
// reference are the checked bytes; nowMs is the local time in milliseconds
// since 1601. Pure: the caller reads and writes the registry and logs.
SpecialLimitResult applySpecialLimit(uint8_t code, const std::string& limit, const SmartBytes& current,
                                     const SmartBytes& reference, const RegistryLookup& registry, uint64_t nowMs);

}  // namespace zel
