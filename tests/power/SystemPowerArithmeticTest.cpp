#include <gtest/gtest.h>

#include "power/PowerJob.h"
#include "power/PowerRegisters.h"
#include "power/RtcAlarm.h"

using namespace zel;
using namespace zel::powerreg;

namespace {

TimeOfDay at(int seconds) { return TimeOfDay{seconds / 3600, (seconds / 60) % 60, seconds % 60}; }

}  // namespace

// The alarm wraps past midnight, except that exactly 86400 stays and reads
// hour 24; BCD is taken digit by digit.
TEST(RtcAlarm, WrapsPastMidnightButKeepsTheExactBoundary) {
    struct Case {
        int now, delay, unwrapped, alarm, h, m, s;
        uint8_t bcdH, bcdM, bcdS;
    } cases[] = {
        {86350, 60, 86410, 10, 0, 0, 10, 0x00, 0x00, 0x10},
        {86340, 60, 86400, 86400, 24, 0, 0, 0x24, 0x00, 0x00},
        {86341, 60, 86401, 1, 0, 0, 1, 0x00, 0x00, 0x01},
        {45296, 3599, 48895, 48895, 13, 34, 55, 0x13, 0x34, 0x55},
    };
    for (const Case& c : cases) {
        const RtcAlarmPlan plan = planRtcAlarm(at(c.now), c.delay);
        SCOPED_TRACE(c.now);
        EXPECT_EQ(plan.now, c.now);
        EXPECT_EQ(plan.unwrapped, c.unwrapped);
        EXPECT_EQ(plan.alarm, c.alarm);
        EXPECT_EQ(plan.at.hours, c.h);
        EXPECT_EQ(plan.at.minutes, c.m);
        EXPECT_EQ(plan.at.seconds, c.s);
        EXPECT_EQ(plan.bcdHours, c.bcdH);
        EXPECT_EQ(plan.bcdMinutes, c.bcdM);
        EXPECT_EQ(plan.bcdSeconds, c.bcdS);
    }
}

// The values a fresh host gives are checked on the printed lines and the
// port writes end to end; here the other bits the edits must keep or clear.
TEST(PowerRegisters, EditsKeepOrClearTheOtherBits) {
    struct Case {
        const char* what;
        uint32_t got, want;
    } cases[] = {
        {"AIE already set", withAlarmInterruptEnabled(0x22), 0x22},
        {"RTC unmasked, other IRQs kept", withRtcUnmasked(0x8E), 0x8E},
        {"cascade unmasked, other IRQs kept", withCascadeUnmasked(0xB8), 0xB8},
        {"PM1: bit 15 cleared, RTC_EN set", withRtcWakeEnabled(0x00008000u), 0x04000000u},
        {"PM1: all other bits kept", withRtcWakeEnabled(0xFFFFFFFFu), 0xFFFF7FFFu},
        {"abrupt (11b) shutdown becomes normal", ccWithNormalShutdown(0x0046C001), 0x00464001u},
        {"abrupt (10b) is no normal request", ccRequestsNormalShutdown(0x00468001), 0},
        {"11b is no normal request", ccRequestsNormalShutdown(0x0046C001), 0},
        {"00b is no normal request", ccRequestsNormalShutdown(0x00460001), 0},
        {"SHST complete beside RDY", shutdownStatus(0x9), 2},
        {"SHST processing", shutdownStatus(0x5), 1},
        {"SHST from other bits", shutdownStatus(0xFFFFFFF3), 0},
        {"a stale RST_CPU is low before the rising edge", resetArmed(0x06), 0x0A},
        {"reset fired, other bits kept", resetFired(0xF1), 0xFF},
        {"PME_Status is not cleared by accident", withPowerState(0x00008108, kD3Hot), 0x0000010Bu},
        {"power state from the low bits only", powerState(0xFFFFFFF9), 1},
    };
    for (const Case& c : cases) EXPECT_EQ(c.got, c.want) << c.what;
}

// The other names are given end to end.
TEST(PowerJob, ControlNamesAreCaseSensitive) {
    EXPECT_EQ(powerControlFromText("cpu"), PowerControl::CpuReset);
    EXPECT_EQ(powerControlFromText("S3"), PowerControl::Unknown);
}
