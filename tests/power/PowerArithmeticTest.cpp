#include <gtest/gtest.h>

#include <optional>
#include <tuple>

#include "app/JobReaders.h"
#include "power/BoardCommands.h"
#include "power/PowerJob.h"
#include "power/PowerRecords.h"
#include "power/PowerRegisters.h"

using namespace zel;
using namespace zel::powerreg;

// A board's reading and its line, and the marker's text as the board decodes
// it, are checked end to end and in BoardRoutesTest.cpp; here the bytes around
// the measurement, the padding of small values and the marker's other bytes.
TEST(PowerMeasurement, OnlyItsFourBytesCountSmallValuesArePaddedAndTheMarkerSaysNothingElse) {
    uint8_t answer[512] = {};
    answer[3] = 0xFF;
    answer[8] = 0xFF;
    EXPECT_EQ(measurementLine(measurementFromBytes(answer)), "Voltage:  0.00mV, Current:  0.00mA, Power:  0.00mW");
    const auto on = markerSector(true), off = markerSector(false);
    for (size_t i = 10; i < on.size(); ++i) ASSERT_EQ(on[i] | off[i], 0) << "byte " << i;
}

TEST(VoltageCondition, TextsThatAreConditionsAndTheVoltagesThatMeetThem) {
    using Compare = VoltageCondition::Compare;
    using Good = std::tuple<const char*, Compare, uint32_t, uint32_t>;  // text, comparison, mV, target mV
    const Good good[] = {{"<3.6", Compare::Less, 3600, 3550},     {"<=3.6", Compare::LessOrEqual, 3600, 3595},
                         {">12", Compare::Greater, 12000, 12050}, {">=5.0", Compare::GreaterOrEqual, 5000, 5005},
                         {"=3.3", Compare::Equal, 3300, 3300},    {"==1.8", Compare::Equal, 1800, 1800},
                         {"3.3", Compare::Equal, 3300, 3300},     {"<.9", Compare::Less, 900, 850}};
    for (const auto& [text, compare, millivolts, target] : good) {
        VoltageCondition condition;
        ASSERT_TRUE(parseVoltageCondition(text, &condition)) << text;
        EXPECT_EQ(condition.compare, compare) << text;
        EXPECT_EQ(condition.millivolts, millivolts) << text;
        EXPECT_EQ(targetMillivolts(condition), target) << text;
        EXPECT_TRUE(conditionHolds(condition, target)) << "the target satisfies " << text;
    }
    for (const char* bad : {"", "<", "< 3.6", "<3.6V", "3..6", "-3", "<3,6", "<>3", "0.05", "66", "abc", "<3.6 "}) {
        VoltageCondition condition;
        EXPECT_FALSE(parseVoltageCondition(bad, &condition)) << '"' << bad << '"';
    }
    // A measured voltage on either side of the edge, and the 25 mV an equality allows.
    using Case = std::tuple<Compare, double, bool>;  // comparison, measured mV, holds
    const Case cases[] = {{Compare::Less, 3599.9, true},           {Compare::Less, 3600.0, false},
                          {Compare::GreaterOrEqual, 3600.0, true}, {Compare::GreaterOrEqual, 3598.75, false},
                          {Compare::Equal, 3625.0, true},          {Compare::Equal, 3626.0, false},
                          {Compare::Equal, 3574.0, false}};
    for (const auto& [compare, measured, holds] : cases)
        EXPECT_EQ(conditionHolds({compare, 3600}, measured), holds) << measured;
}

// What the smart action's limits then expect: $pwrcycle "diff<=k+1" for k
// above 0, else "diff==k+1"; $ugsd likewise for k of 1 and up.
TEST(PowerCounters, FlowsLeaveTheRetriesTheirLimitsExpect) {
    using Retries = std::tuple<int64_t, std::optional<int64_t>, std::optional<int64_t>>;  // pwrcycle, gsd, ugsd
    auto retries = [](PowerControl control, uint32_t attempts, uint32_t shortCycles) {
        const SmartCountersAfterFlow after = smartCountersAfterFlow(control, attempts, shortCycles);
        return Retries(after.pwrcycleRetry, after.gsdRetry, after.ugsdRetry);
    };
    // A plain ugsd: no gsd count (its 0 and 0 reach the registry end to end).
    EXPECT_EQ(retries(PowerControl::Ugsd, 1, 0), Retries(0, std::nullopt, 0));
    // A third attempt: gsd is the attempt number - 1; the unsafe count is left alone.
    EXPECT_EQ(retries(PowerControl::Gsd, 3, 0), Retries(2, 2, std::nullopt));
    // Three short cycles: four power-ups (diff<=4) and three unsafe cuts (diff<=3).
    EXPECT_EQ(retries(PowerControl::Gsd, 1, 3), Retries(3, 0, 2));
    EXPECT_EQ(retries(PowerControl::Ugsd, 2, 1), Retries(2, std::nullopt, 2)) << "three unsafe cuts: diff<=3";
}

// The values a fresh host gives are checked on the printed lines and the
// port writes end to end; here the other bits the edits must keep or clear.
TEST(PowerRegisters, EditsKeepOrClearTheOtherBits) {
    struct Case {
        const char* what;
        uint32_t got, want;
    } cases[] = {
        {"AIE already set", withAlarmInterruptEnabled(0x22), 0x22}, {"RTC unmasked, other IRQs kept", withRtcUnmasked(0x8E), 0x8E},
        {"cascade unmasked, other IRQs kept", withCascadeUnmasked(0xB8), 0xB8},
        {"PM1: bit 15 cleared, RTC_EN set", withRtcWakeEnabled(0x00008000u), 0x04000000u},
        {"PM1: all other bits kept", withRtcWakeEnabled(0xFFFFFFFFu), 0xFFFF7FFFu},
        {"abrupt (11b) shutdown becomes normal", ccWithNormalShutdown(0x0046C001), 0x00464001u},
        {"abrupt (10b) is no normal request", ccRequestsNormalShutdown(0x00468001), 0},
        {"11b is no normal request", ccRequestsNormalShutdown(0x0046C001), 0},
        {"00b is no normal request", ccRequestsNormalShutdown(0x00460001), 0},
        {"SHST complete beside RDY", shutdownStatus(0x9), 2}, {"SHST processing", shutdownStatus(0x5), 1},
        {"SHST from other bits", shutdownStatus(0xFFFFFFF3), 0},
        {"a stale RST_CPU is low before the rising edge", resetArmed(0x06), 0x0A},
        {"reset fired, other bits kept", resetFired(0xF1), 0xFF},
        {"PME_Status is not cleared by accident", withPowerState(0x00008108, kD3Hot), 0x0000010Bu},
        {"power state from the low bits only", powerState(0xFFFFFFF9), 1},
    };
    for (const Case& c : cases) EXPECT_EQ(c.got, c.want) << c.what;
}

// The other control names are given end to end; a DUT that never leaves or
// never comes back ends the step unless the script asked for no limit.
TEST(PowerOptions, ControlNamesAreCaseSensitiveAndWaitsFiniteUnlessZero) {
    EXPECT_EQ(powerControlFromText("cpu"), PowerControl::CpuReset);
    EXPECT_EQ(powerControlFromText("S3"), PowerControl::Unknown);
    using Values = std::vector<std::pair<std::string, std::string>>;
    const std::pair<Values, bool> cases[] = {{{{"diskid", "1"}, {"pwrctrl", "ugsd"}}, true},  // the waits limited?
                                             {{{"pwroffto", "0"}, {"pwronto", "0"}}, false}};
    for (const auto& [values, limited] : cases) {
        PowerJob job;
        EXPECT_FALSE(readPowerJob(ParseResult(values), &job));
        EXPECT_EQ(job.offTimeoutSeconds > 0, limited);
        EXPECT_EQ(job.onTimeoutSeconds > 0, limited);
    }
}
