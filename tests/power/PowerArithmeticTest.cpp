#include <gtest/gtest.h>

#include "app/JobReaders.h"
#include "power/BoardCommands.h"
#include "power/PowerJob.h"
#include "power/PowerRecords.h"
#include "power/PowerRegisters.h"

using namespace zel;
using namespace zel::powerreg;

// A board's reading and its line are checked end to end; here the bytes
// around the measurement and the padding of small values.
TEST(PowerMeasurement, OnlyItsFourBytesCountAndSmallValuesArePadded) {
    uint8_t answer[512] = {};
    answer[3] = 0xFF;
    answer[8] = 0xFF;
    EXPECT_EQ(measurementLine(measurementFromBytes(answer)), "Voltage:  0.00mV, Current:  0.00mA, Power:  0.00mW");
}

// The marker's text is checked as the board decodes it (BoardRoutesTest.cpp).
TEST(PowerMeasurement, MarkerSectorSaysOnOrOffAndNothingElse) {
    const auto on = markerSector(true), off = markerSector(false);
    for (size_t i = 10; i < on.size(); ++i) ASSERT_EQ(on[i] | off[i], 0) << "byte " << i;
}

TEST(VoltageCondition, TextsThatAreAndAreNotConditions) {
    using Compare = VoltageCondition::Compare;
    struct Case {
        const char* text;
        Compare compare;
        uint32_t millivolts;
        uint32_t target;
    } good[] = {{"<3.6", Compare::Less, 3600, 3550},         {"<=3.6", Compare::LessOrEqual, 3600, 3595},
                {">12", Compare::Greater, 12000, 12050},     {">=5.0", Compare::GreaterOrEqual, 5000, 5005},
                {"=3.3", Compare::Equal, 3300, 3300},        {"==1.8", Compare::Equal, 1800, 1800},
                {"3.3", Compare::Equal, 3300, 3300},         {"<.9", Compare::Less, 900, 850}};
    for (const Case& c : good) {
        VoltageCondition condition;
        ASSERT_TRUE(parseVoltageCondition(c.text, &condition)) << c.text;
        EXPECT_EQ(condition.compare, c.compare) << c.text;
        EXPECT_EQ(condition.millivolts, c.millivolts) << c.text;
        EXPECT_EQ(targetMillivolts(condition), c.target) << c.text;
        EXPECT_TRUE(conditionHolds(condition, c.target)) << "the target satisfies " << c.text;
    }
    for (const char* bad : {"", "<", "< 3.6", "<3.6V", "3..6", "-3", "<3,6", "<>3", "0.05", "66", "abc", "<3.6 "}) {
        VoltageCondition condition;
        EXPECT_FALSE(parseVoltageCondition(bad, &condition)) << '"' << bad << '"';
    }
}

// A measured voltage on either side of the edge, and the 25 mV an equality allows.
TEST(VoltageCondition, MeasuredVoltageIsJudgedByTheComparison) {
    using Compare = VoltageCondition::Compare;
    const struct {
        Compare compare;
        double measured;
        bool holds;
    } cases[] = {{Compare::Less, 3599.9, true},           {Compare::Less, 3600.0, false},
                 {Compare::GreaterOrEqual, 3600.0, true}, {Compare::GreaterOrEqual, 3598.75, false},
                 {Compare::Equal, 3625.0, true},          {Compare::Equal, 3626.0, false},
                 {Compare::Equal, 3574.0, false}};
    for (const auto& c : cases)
        EXPECT_EQ(conditionHolds({c.compare, 3600}, c.measured), c.holds) << c.measured;
}

// What the smart action's limits then expect: $pwrcycle "diff<=k+1" for k
// above 0, else "diff==k+1"; $ugsd likewise for k of 1 and up.
TEST(PowerCounters, FlowsLeaveTheRetriesTheirLimitsExpect) {
    // A plain ugsd's 0 and 0 reach the registry end to end.
    EXPECT_FALSE(smartCountersAfterFlow(PowerControl::Ugsd, 1, 0).gsdRetry.has_value());

    const auto retriedGsd = smartCountersAfterFlow(PowerControl::Gsd, 3, 0);
    EXPECT_EQ(retriedGsd.pwrcycleRetry, 2);
    EXPECT_EQ(retriedGsd.gsdRetry, 2) << "attempt number - 1";
    EXPECT_FALSE(retriedGsd.ugsdRetry.has_value()) << "a graceful flow leaves the unsafe count alone";

    const auto shortGsd = smartCountersAfterFlow(PowerControl::Gsd, 1, 3);
    EXPECT_EQ(shortGsd.pwrcycleRetry, 3) << "four power-ups: diff<=4";
    EXPECT_EQ(shortGsd.ugsdRetry, 2) << "three unsafe cuts: diff<=3";

    const auto shortUgsd = smartCountersAfterFlow(PowerControl::Ugsd, 2, 1);
    EXPECT_EQ(shortUgsd.pwrcycleRetry, 2);
    EXPECT_EQ(shortUgsd.ugsdRetry, 2) << "three unsafe cuts: diff<=3";
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
    const struct {
        std::vector<std::pair<std::string, std::string>> values;
        bool limited;
    } cases[] = {{{{"diskid", "1"}, {"pwrctrl", "ugsd"}}, true}, {{{"pwroffto", "0"}, {"pwronto", "0"}}, false}};
    for (const auto& c : cases) {
        PowerJob job;
        EXPECT_FALSE(readPowerJob(ParseResult(c.values), &job));
        EXPECT_EQ(job.offTimeoutSeconds > 0, c.limited);
        EXPECT_EQ(job.onTimeoutSeconds > 0, c.limited);
    }
}
