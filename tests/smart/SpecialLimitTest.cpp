#include <gtest/gtest.h>

#include <map>

#include "smart/SmartSyntax.h"
#include "smart/SpecialLimit.h"

using zel::SmartBytes;

namespace {

using Registry = std::map<std::string, std::string>;

// Some day in 2024 as milliseconds since 1601.
constexpr uint64_t kNow = 13350000000000;
constexpr uint64_t kSecond = 1000;

std::string ago(uint64_t seconds) { return std::to_string(kNow - seconds * kSecond); }

zel::SpecialLimitResult apply(uint8_t code, const std::string& limit, const Registry& registry,
                              const SmartBytes& current = {5}, const SmartBytes& reference = {4}) {
    const zel::RegistryLookup lookup = [&](const std::string& name) -> std::optional<std::string> {
        const auto found = registry.find(name);
        if (found == registry.end()) return std::nullopt;
        return found->second;
    };
    return zel::applySpecialLimit(code, limit, current, reference, lookup, kNow);
}

}  // namespace

TEST(SpecialLimit, RetryCountersBecomeDifferenceLimits) {
    const struct {
        uint8_t code;
        Registry registry;
        const char* limit;
    } cases[] = {
        {zel::kSpecialPowerCycle, {}, "diff==0"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "0"}}, "diff==1"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "2"}}, "diff<=3"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "-1"}}, "diff==0"},
        {zel::kSpecialGsd, {{"gsd_retry_cnt", "1"}, {"pwrcycle_retry_cnt", "7"}}, "diff<=2"},
        {zel::kSpecialGsd, {{"pwrcycle_retry_cnt", "7"}}, "diff==0"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "0"}}, "diff==1"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "1"}}, "diff<=2"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "-1"}, {"pwrcycle_retry_cnt", "5"}}, "diff==0"},
        {zel::kSpecialUgsd, {{"pwrcycle_retry_cnt", "2"}}, "diff<=2"},
        {zel::kSpecialUgsd, {{"pwrcycle_retry_cnt", "-1"}}, "diff<=-1"},
        {zel::kSpecialUgsd, {}, "diff==0"},
        {zel::kSpecialTempC, {{"pwrcycle_retry_cnt", "2"}}, "val<90"},
        {9, {{"pwrcycle_retry_cnt", "2"}}, "val<90"},
    };
    for (const auto& c : cases) {
        const zel::SpecialLimitResult result = apply(c.code, "val<90", c.registry);
        EXPECT_EQ(result.answer, zel::kSpecialCheck) << +c.code << " " << c.limit;
        EXPECT_EQ(result.limit, c.limit) << +c.code;
    }
}

TEST(SpecialLimit, ReferenceDecidesWhetherToApply) {
    const Registry registry{{"pwrcycle_retry_cnt", "2"}};
    const struct {
        SmartBytes reference;
        int answer;
        const char* limit;
    } cases[] = {{{}, zel::kSpecialCheck, "val<9"},
                 {{0xFF, 0xFF, 0xFF}, zel::kSpecialSkip, "val<9"},
                 {{0xFF, 0xFE}, zel::kSpecialCheck, "diff<=3"}};
    for (const auto& c : cases) {
        const zel::SpecialLimitResult result = apply(zel::kSpecialPowerCycle, "val<9", registry, {5}, c.reference);
        EXPECT_EQ(result.answer, c.answer) << c.limit;
        EXPECT_EQ(result.limit, c.limit);
    }
}

TEST(SpecialLimit, PowerOnHoursSinceTheLastSuccessfulRun) {
    const struct {
        std::optional<uint64_t> secondsAgo;
        const char* limit;
    } cases[] = {
        {2 * 3600 + 10 * 60, "diff>=1 && diff<=3"}, {2 * 3600 + 58 * 60, "diff>=2 && diff<=4"},
        {2 * 3600 + 40 * 60, "diff>=2 && diff<=3"}, {2 * 3600 + 1800, "diff>=2 && diff<=3"},
        {2 * 3600 + 3420, "diff>=2 && diff<=3"},    {2 * 3600 + 3421, "diff>=2 && diff<=4"},
        {2 * 3600 + 1799, "diff>=1 && diff<=3"},    {10 * 60, "diff>=0 && diff<=1"},
        {59 * 60, "diff>=0 && diff<=2"},            {std::nullopt, "val<9"},
    };
    for (const auto& c : cases) {
        Registry registry{{"monitor_period", "0"}};
        if (c.secondsAgo) registry["last_success"] = ago(*c.secondsAgo);
        const zel::SpecialLimitResult result = apply(zel::kSpecialPowerOnHours, "val<9", registry);
        EXPECT_EQ(result.answer, zel::kSpecialCheck);
        EXPECT_EQ(result.limit, c.limit);
        EXPECT_FALSE(result.powerOnCheckTime);
    }
    const Registry future{{"last_success", std::to_string(kNow + kSecond)}};
    EXPECT_EQ(apply(zel::kSpecialPowerOnHours, "val<9", future).limit, "val<9");
}

TEST(SpecialLimit, PowerOnHoursWhileMonitoring) {
    const struct {
        const char* lastCheck;  // seconds ago, or empty for none
        SmartBytes current;
        int answer;
        bool stored;
        int warnedAfter;
    } cases[] = {
        {"3600", {5}, zel::kSpecialCheck, true, 0},   {"3000", {5}, zel::kSpecialWarned, true, 3000},
        {"3359", {5}, zel::kSpecialWarned, true, 3359}, {"3360", {5}, zel::kSpecialCheck, true, 0},
        {"3840", {5}, zel::kSpecialCheck, true, 0},   {"3841", {5}, zel::kSpecialWarned, true, 3841},
        {"3000", {4}, zel::kSpecialCheck, false, 0},  {"", {5}, zel::kSpecialCheck, true, 0},
        {"-5", {5}, zel::kSpecialCheck, false, 0},
    };
    for (const auto& c : cases) {
        Registry registry{{"monitor_period", "60"}};
        const std::string last = c.lastCheck;
        if (!last.empty()) registry["last_pwr_on_hr"] = std::to_string(kNow - std::stoll(last) * 1000);
        const zel::SpecialLimitResult result = apply(zel::kSpecialPowerOnHours, "val<9", registry, c.current, {4});
        EXPECT_EQ(result.answer, c.answer) << c.lastCheck;
        EXPECT_EQ(result.limit, "val<9");
        EXPECT_EQ(result.powerOnCheckTime, c.stored ? std::optional<uint64_t>(kNow) : std::nullopt) << c.lastCheck;
        EXPECT_EQ(result.warning, c.warnedAfter ? "Power On Hours increases after " + std::to_string(c.warnedAfter) +
                                                      "s, but is not in +-5% range"
                                                : "")
            << c.lastCheck;
    }
}

TEST(SpecialLimit, ByTimeScalesRightHandSidesByElapsedPeriods) {
    const struct {
        Registry registry;
        const char* limit;
        const char* scaled;
    } cases[] = {
        {{{"monitor_period", "3600"}, {"last_success", ago(3 * 3600)}}, "diff<=10 && diff>=2", "diff<=30 && diff>=6"},
        {{{"monitor_period", "3600"}, {"last_success", ago(3 * 3600)}}, " diff <= 10 || val > 1", "diff<=30 || val>3"},
        {{{"monitor_period", "3600"}, {"last_success", ago(3 * 3600)}}, "diff<=2*5-(1)", "diff<=27"},
        {{{"monitor_period", "7200"}, {"last_success", ago(3 * 3600)}}, "diff<=3", "diff<=4"},
        {{{"last_success", ago(120)}}, "diff<5", "diff<600"},
        {{{"monitor_period", "0.5"}, {"last_success", ago(2)}}, "diff<-5", "diff<-20"},
        {{{"monitor_period", "3600"}, {"last_success", ago(3600)}}, "diff<=x(", "diff<=x("},
        {{{"monitor_period", "0"}, {"last_success", ago(3600)}}, "diff<=1", "diff<=9223372036854775807"},
    };
    for (const auto& c : cases) {
        const zel::SpecialLimitResult result = apply(zel::kSpecialByTime, c.limit, c.registry);
        EXPECT_EQ(result.answer, zel::kSpecialCheck);
        EXPECT_EQ(result.limit, c.scaled) << c.limit;
    }
}
