#include <gtest/gtest.h>

#include <map>

#include "smart/SmartSyntax.h"
#include "smart/VariableLimit.h"

namespace {

using Registry = std::map<std::string, std::string>;

constexpr uint64_t kNow = 13350000000000;  // a day in 2024, ms since 1601

std::string ago(int64_t seconds) { return std::to_string(kNow - seconds * 1000); }

// "answer|limit", then "|stored" when the time is to be stored, then the warning.
std::string apply(uint8_t code, const std::string& limit, const Registry& registry,
                  const zel::SmartBytes& current = {5}, const zel::SmartBytes& reference = {4}) {
    const zel::RegistryLookup lookup = [&](const std::string& name) -> std::optional<std::string> {
        const auto found = registry.find(name);
        return found == registry.end() ? std::nullopt : std::optional<std::string>(found->second);
    };
    const zel::SpecialLimitResult r = zel::applySpecialLimit(code, limit, current, reference, lookup, kNow);
    std::string text = std::to_string(r.answer) + "|" + r.limit;
    if (r.powerOnCheckTime) text += *r.powerOnCheckTime == kNow ? "|stored" : "|stored other";
    return text + (r.warning.empty() ? "" : "|" + r.warning);
}

}  // namespace

// The counters read from the registry; the key itself is read end to end.
TEST(SpecialLimit, RetryCountersAndTheReference) {
    // The code, the registry, the reference reading and the answer.
    const std::tuple<uint8_t, Registry, zel::SmartBytes, const char*> cases[] = {
        {zel::kSpecialGsd, {{"gsd_retry_cnt", "1"}, {"pwrcycle_retry_cnt", "7"}}, {4}, "1|diff<=2"},
        {zel::kSpecialGsd, {{"pwrcycle_retry_cnt", "7"}}, {4}, "1|diff==0"},
        {zel::kSpecialGsd, {{"gsd_retry_cnt", "-1"}}, {4}, "1|diff==0"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "1"}}, {4}, "1|diff<=2"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "-1"}, {"pwrcycle_retry_cnt", "5"}}, {4}, "1|diff==0"},
        {zel::kSpecialUgsd, {{"ugsd_retry_cnt", "0"}, {"pwrcycle_retry_cnt", "5"}}, {4}, "1|diff==1"},
        {zel::kSpecialUgsd, {{"pwrcycle_retry_cnt", "2"}}, {4}, "1|diff<=2"}, {zel::kSpecialUgsd, {}, {4}, "1|diff==0"},
        {zel::kSpecialPowerCycle, {}, {4}, "1|diff==0"}, {zel::kSpecialPowerCycle, {}, {}, "1|val<9"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "0"}}, {4}, "1|diff==1"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "2"}}, {0xFF, 0xFE}, "1|diff<=3"},
        {zel::kSpecialPowerCycle, {{"pwrcycle_retry_cnt", "2"}}, {0xFF, 0xFF, 0xFF}, "0|val<9"},
        {zel::kSpecialTempC, {{"pwrcycle_retry_cnt", "2"}}, {4}, "1|val<9"}, {9, {}, {4}, "1|val<9"},
    };
    for (const auto& [code, registry, reference, result] : cases)
        EXPECT_EQ(apply(code, "val<9", registry, {5}, reference), result) << +code;
}

// Period 0: brackets around the hours since last_success (2 h 10 min and
// 7 h are run end to end; here the rounding boundaries). Period 60
// (monitoring): a changed value stores the time and warns outside one
// hour +-5% since the last stored time.
TEST(SpecialLimit, PowerOnHours) {
    const std::string off = "|Power On Hours increases after ";
    // The period, the seconds since last_success (period 0) or last_pwr_on_hr
    // (0: absent), the current value (the reference is 4) and the answer.
    const std::tuple<const char*, int64_t, uint8_t, std::string> cases[] = {
        {"0", 2 * 3600 + 1799, 5, "1|diff>=1 && diff<=3"}, {"0", 2 * 3600 + 1800, 5, "1|diff>=2 && diff<=3"},
        {"0", 2 * 3600 + 3420, 5, "1|diff>=2 && diff<=3"}, {"0", 2 * 3600 + 3421, 5, "1|diff>=2 && diff<=4"},
        {"0", 600, 5, "1|diff>=0 && diff<=1"},             {"0", 3540, 5, "1|diff>=0 && diff<=2"},
        {"0", 0, 5, "1|val<9"},                            {"0", -1, 5, "1|val<9"},
        {"60", 3359, 5, "4|val<9|stored" + off + "3359s, but is not in +-5% range"},
        {"60", 3360, 5, "1|val<9|stored"},                 {"60", 3840, 5, "1|val<9|stored"},
        {"60", 3841, 5, "4|val<9|stored" + off + "3841s, but is not in +-5% range"},
        {"60", 3000, 4, "1|val<9"},                        {"60", 0, 5, "1|val<9|stored"},
        {"60", -5, 5, "1|val<9"},
    };
    for (const auto& [period, secondsAgo, current, result] : cases) {
        Registry registry{{"monitor_period", period}};
        if (secondsAgo) registry[period[0] == '0' ? "last_success" : "last_pwr_on_hr"] = ago(secondsAgo);
        EXPECT_EQ(apply(zel::kSpecialPowerOnHours, "val<9", registry, {current}), result) << secondsAgo;
    }
}

TEST(SpecialLimit, ByTimeScalesRightHandSidesByElapsedPeriods) {
    const Registry threeHours{{"monitor_period", "3600"}, {"last_success", ago(3 * 3600)}};
    const std::tuple<Registry, const char*, const char*> cases[] = {
        {threeHours, "diff<=10 && diff>=2", "1|diff<=30 && diff>=6"},
        {threeHours, " diff <= 10 || val > 1", "1|diff<=30 || val>3"},
        {threeHours, "diff<=2*5-(1)", "1|diff<=27"},
        {{{"monitor_period", "7200"}, {"last_success", ago(3 * 3600)}}, "diff<=3", "1|diff<=4"},
        {{{"last_success", ago(120)}}, "diff<5", "1|diff<600"},
        {{{"monitor_period", "0.5"}, {"last_success", ago(2)}}, "diff<-5", "1|diff<-20"},
        {{{"monitor_period", "0"}, {"last_success", ago(3600)}}, "diff<=1", "1|diff<=9223372036854775807"},
    };
    for (const auto& [registry, limit, result] : cases)
        EXPECT_EQ(apply(zel::kSpecialByTime, limit, registry), result) << limit;
}
