#include "smart/VariableLimit.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdlib>

#include "core/NumberText.h"
#include "core/TextFormat.h"
#include "smart/SmartSyntax.h"

namespace zel {
namespace {

// One hour less and plus 5 %: the window in which the power-on hours
// counter may tick between two checks.
constexpr double kHourLowSeconds = 3420;
constexpr double kHourHighSeconds = 3780;

std::optional<std::string> registryText(const RegistryLookup& registry, const char* name) {
    return registry ? registry(name) : std::nullopt;
}

std::optional<int64_t> registryCounter(const RegistryLookup& registry, const char* name) {
    const std::optional<std::string> text = registryText(registry, name);
    if (!text) return std::nullopt;
    return parseDecimal32(*text);
}

// Milliseconds since 1601; absent reads 0, which also means never set.
int64_t registryTime(const RegistryLookup& registry, const char* name) {
    const std::optional<std::string> text = registryText(registry, name);
    return text ? std::strtoll(text->c_str(), nullptr, 10) : 0;
}

double registryAmount(const RegistryLookup& registry, const char* name, double absent) {
    const std::optional<std::string> text = registryText(registry, name);
    return text ? std::strtod(text->c_str(), nullptr) : absent;
}

// now - since in milliseconds, saturated rather than wrapped.
int64_t elapsedMs(uint64_t nowMs, int64_t sinceMs) {
    const int64_t now = nowMs > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(nowMs);
    int64_t elapsed = 0;
    if (__builtin_sub_overflow(now, sinceMs, &elapsed)) return sinceMs < 0 ? INT64_MAX : INT64_MIN;
    return elapsed;
}

int64_t toInt64(double value) {
    if (std::isnan(value)) return 0;
    if (value >= 9223372036854775808.0) return INT64_MAX;
    if (value <= -9223372036854775808.0) return INT64_MIN;
    return static_cast<int64_t>(value);
}

// Codes 1 and 3: k retries mean up to k + 1 cycles; none or an absent
// value mean exactly k + 1 (absent reads -1, so diff==0).
std::string retryLimit(std::optional<int64_t> retries) {
    const int64_t k = retries.value_or(-1);
    return formatText(k > 0 ? "diff<=%lld" : "diff==%lld", static_cast<long long>(k + 1));
}

std::string ungracefulLimit(const RegistryLookup& registry) {
    if (const std::optional<int64_t> k = registryCounter(registry, kRegUgsdRetries))
        return formatText(*k >= 1 ? "diff<=%lld" : "diff==%lld", static_cast<long long>(*k + 1));
    if (const std::optional<int64_t> p = registryCounter(registry, kRegPowerCycleRetries))
        return formatText("diff<=%lld", static_cast<long long>(*p));
    return "diff==0";
}

void powerOnHours(const SmartBytes& current, const SmartBytes& reference, const RegistryLookup& registry,
                  uint64_t nowMs, SpecialLimitResult* result) {
    const double period = registryAmount(registry, kRegMonitorPeriod, 0);
    if (period != 0) {
        // Monitoring every period: the counter must tick about an hour after it last did.
        const bool changed = readingValue(current) != readingValue(reference);
        if (const int64_t last = registryTime(registry, kRegLastPowerOnHr)) {
            const int64_t elapsedMsValue = elapsedMs(nowMs, last);
            if (elapsedMsValue < 0) return;
            const int64_t elapsed = elapsedMsValue / 1000;
            if (changed && (period + elapsed < kHourLowSeconds || elapsed - period > kHourHighSeconds)) {
                result->warning = formatText("Power On Hours increases after %ds, but is not in +-5%% range",
                                             static_cast<int>(std::min<int64_t>(elapsed, INT_MAX)));
                result->answer = kSpecialWarned;
            }
        }
        if (changed) result->powerOnCheckTime = nowMs;
        return;
    }
    // Otherwise the hours since the last successful run, with a margin for
    // where within its hour the counter ticked.
    const int64_t last = registryTime(registry, kRegLastSuccess);
    if (last == 0) return;
    const int64_t elapsedMsValue = elapsedMs(nowMs, last);
    if (elapsedMsValue < 0) return;
    const long long hours = elapsedMsValue / 1000 / 3600;
    const long long rest = elapsedMsValue / 1000 % 3600;
    long long low = hours;
    long long high = hours + 1;
    if (rest > kHourLowSeconds) {
        high = hours + 2;
    } else if (rest < 1800) {
        low = hours > 0 ? hours - 1 : 0;
    }
    result->limit = formatText("diff>=%lld && diff<=%lld", low, high);
}

// Each condition's right-hand side times the monitor periods elapsed since
// the last successful run.
std::string scaledByTime(const std::string& limit, const SmartBytes& current, const SmartBytes& reference,
                         const RegistryLookup& registry, uint64_t nowMs) {
    const double period = registryAmount(registry, kRegMonitorPeriod, 1.0);
    const double seconds = static_cast<double>(elapsedMs(nowMs, registryTime(registry, kRegLastSuccess))) / 1000.0;
    const double periods = seconds / period;
    const LimitReading reading{current, reference, {}};
    const LimitConditions split = splitLimit(limit);
    std::string scaled;
    for (size_t i = 0; i < split.conditions.size(); ++i) {
        if (i > 0) scaled += " " + split.connector + " ";
        LimitCondition condition;
        std::optional<double> right;
        if (splitCondition(split.conditions[i], &condition)) right = evaluateOperand(condition.right, reading);
        // A condition that cannot be scaled stays for the limit check to refuse.
        scaled += right ? formatText("%s%s%lld", trim(condition.left).c_str(), condition.op.c_str(),
                                     static_cast<long long>(toInt64(*right * periods)))
                        : trim(split.conditions[i]);
    }
    return scaled;
}

}  // namespace

SpecialLimitResult applySpecialLimit(uint8_t code, const std::string& limit, const SmartBytes& current,
                                     const SmartBytes& reference, const RegistryLookup& registry, uint64_t nowMs) {
    SpecialLimitResult result;
    result.limit = limit;
    if (code == kSpecialNone || reference.empty()) return result;
    // A reference of all ones was never a real reading.
    if (std::all_of(reference.begin(), reference.end(), [](uint8_t b) { return b == 0xFF; })) {
        result.answer = kSpecialSkip;
        return result;
    }
    switch (code) {
    case kSpecialGsd:
        result.limit = retryLimit(registryCounter(registry, kRegGsdRetries));
        break;
    case kSpecialUgsd:
        result.limit = ungracefulLimit(registry);
        break;
    case kSpecialPowerCycle:
        result.limit = retryLimit(registryCounter(registry, kRegPowerCycleRetries));
        break;
    case kSpecialPowerOnHours:
        powerOnHours(current, reference, registry, nowMs, &result);
        break;
    case kSpecialByTime:
        result.limit = scaledByTime(limit, current, reference, registry, nowMs);
        break;
    default:
        break;
    }
    return result;
}

}  // namespace zel
