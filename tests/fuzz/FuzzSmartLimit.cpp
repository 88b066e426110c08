#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "core/ErrorCodes.h"
#include "smart/LimitCheck.h"
#include "smart/SmartSyntax.h"
#include "smart/VariableLimit.h"

namespace {

using Registry = std::map<std::string, std::string>;

constexpr uint64_t kNow = 13350000000000;

const Registry kRegistries[] = {
    {},
    {{"pwrcycle_retry_cnt", "2"}, {"gsd_retry_cnt", "-1"}, {"monitor_period", "0"},
     {"last_success", "13349999000000"}},
    {{"ugsd_retry_cnt", "5"}, {"monitor_period", "60"}, {"last_pwr_on_hr", "13349996400000"},
     {"last_success", "13349999999999"}},
    {{"pwrcycle_retry_cnt", "x"}, {"monitor_period", "1e-300"}, {"last_success", "-9223372036854775808"},
     {"last_pwr_on_hr", "99999999999999999999"}},
};

}  // namespace

// Byte 0: bit 0 string attribute, bits 1-3 special code, bits 4-5 registry.
// Bytes 1 and 2: lengths of the current and reference readings (0 to 16),
// whose bytes follow; the rest is the limit text.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 3) return 0;
    const bool isString = data[0] & 1;
    const uint8_t code = (data[0] >> 1) & 7;
    const Registry& registry = kRegistries[(data[0] >> 4) & 3];
    const size_t currentSize = data[1] % 17;
    const size_t referenceSize = data[2] % 17;
    if (size < 3 + currentSize + referenceSize) return 0;
    const zel::SmartBytes current(data + 3, data + 3 + currentSize);
    const zel::SmartBytes reference(data + 3 + currentSize, data + 3 + currentSize + referenceSize);
    const std::string limit(reinterpret_cast<const char*>(data) + 3 + currentSize + referenceSize,
                            size - 3 - currentSize - referenceSize);

    const zel::AttributeLookup lookup = [&](uint32_t n) { return n % 2 ? &current : nullptr; };
    const int plain = zel::checkLimit(limit, isString, {current, reference, lookup});
    if (plain != zel::kLimitPass && plain != zel::kLimitConflict) __builtin_trap();

    const zel::RegistryLookup read = [&](const std::string& name) -> std::optional<std::string> {
        const auto found = registry.find(name);
        if (found == registry.end()) return std::nullopt;
        return found->second;
    };
    const zel::SpecialLimitResult special = zel::applySpecialLimit(code, limit, current, reference, read, kNow);
    if (special.answer != zel::kSpecialCheck && special.answer != zel::kSpecialSkip &&
        special.answer != zel::kSpecialWarned)
        __builtin_trap();
    if (special.answer != zel::kSpecialCheck) return 0;
    zel::setLastError(0);
    const int effective = zel::checkLimit(special.limit, isString, {current, reference, lookup});
    if (effective != zel::kLimitPass && effective != zel::kLimitConflict) __builtin_trap();
    // Limits made from counters and clocks are always readable as numbers.
    const bool generated = code >= zel::kSpecialGsd && code <= zel::kSpecialPowerOnHours && special.limit != limit;
    if (generated && !isString && zel::lastError() == zel::err::kSmartParse) __builtin_trap();
    return 0;
}
