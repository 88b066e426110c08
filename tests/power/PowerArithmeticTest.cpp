#include <gtest/gtest.h>

#include "power/BoardCommands.h"
#include "power/PowerRecords.h"

using namespace zel;

// A board's reading and its line are checked end to end; here the bytes
// around the measurement and the padding of small values.
TEST(PowerMeasurement, OnlyItsFourBytesCountAndSmallValuesArePadded) {
    uint8_t answer[512] = {};
    answer[3] = 0xFF;
    answer[8] = 0xFF;
    EXPECT_EQ(measurementLine(measurementFromBytes(answer)), "Voltage:  0.00mV, Current:  0.00mA, Power:  0.00mW");
}

TEST(PowerMeasurement, MarkerSectorSaysOnOrOffAndNothingElse) {
    const auto on = markerSector(true), off = markerSector(false);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(on.data()), 10), "HXPWR410ON");
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(off.data()), 10), "HXPWR410OF");
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

TEST(VoltageCondition, MeasuredVoltageIsJudgedByTheComparison) {
    VoltageCondition less{VoltageCondition::Compare::Less, 3600};
    EXPECT_TRUE(conditionHolds(less, 3599.9));
    EXPECT_FALSE(conditionHolds(less, 3600.0));
    VoltageCondition atLeast{VoltageCondition::Compare::GreaterOrEqual, 3600};
    EXPECT_TRUE(conditionHolds(atLeast, 3600.0));
    EXPECT_FALSE(conditionHolds(atLeast, 3598.75));
    VoltageCondition equal{VoltageCondition::Compare::Equal, 3300};
    EXPECT_TRUE(conditionHolds(equal, 3325.0));
    EXPECT_FALSE(conditionHolds(equal, 3326.0));
    EXPECT_FALSE(conditionHolds(equal, 3274.0));
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
