#include <gtest/gtest.h>

#include "power/PowerJob.h"
#include "power/PowerRegisters.h"
#include "power/RtcAlarm.h"

using namespace zel;
using namespace zel::power_reg;

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

TEST(ColdBootRegisters, SetOnlyTheirBits) {
    EXPECT_EQ(withAlarmInterruptEnabled(0x02), 0x22);
    EXPECT_EQ(withAlarmInterruptEnabled(0x22), 0x22);
    EXPECT_EQ(withRtcUnmasked(0xFF), 0xFE);
    EXPECT_EQ(withRtcUnmasked(0x8E), 0x8E);
    EXPECT_EQ(withCascadeUnmasked(0xFF), 0xFB);
    EXPECT_EQ(withCascadeUnmasked(0xB8), 0xB8);
    EXPECT_EQ(withRtcWakeEnabled(0x00008000u), 0x04000000u);
    EXPECT_EQ(withRtcWakeEnabled(0xFFFFFFFFu), 0xFFFF7FFFu);
    EXPECT_EQ(withRtcWakeEnabled(0), 0x04000000u);
    EXPECT_EQ(withS5Sleep(0x1), 0x3C01u);
    EXPECT_EQ(withS5Sleep(0x4000000), 0x4003C01u);
    // Sleep type 7 in bits 12..10, sleep enable in bit 13.
    EXPECT_EQ((withS5Sleep(0) >> 10) & 7, 7u);
    EXPECT_NE(withS5Sleep(0) & (1u << 13), 0u);
}

TEST(ShutdownNotificationRegisters, ShnIsNormalAndShstIsDecoded) {
    EXPECT_EQ(ccWithNormalShutdown(0x00460001), 0x00464001u);
    EXPECT_EQ(ccWithNormalShutdown(0x0046C001), 0x00464001u) << "abrupt (10b and 11b) becomes normal";
    EXPECT_TRUE(ccRequestsNormalShutdown(0x00464001));
    EXPECT_FALSE(ccRequestsNormalShutdown(0x00468001));
    EXPECT_FALSE(ccRequestsNormalShutdown(0x0046C001));
    EXPECT_FALSE(ccRequestsNormalShutdown(0x00460001));
    EXPECT_EQ(shutdownStatus(0x9), 2u);  // RDY and SHST complete
    EXPECT_EQ(shutdownStatus(0x5), 1u);
    EXPECT_EQ(shutdownStatus(0xFFFFFFF3), 0u);
}

TEST(ResetAndPciPowerRegisters, ArmThenFireAndKeepOtherBits) {
    EXPECT_EQ(resetArmed(0x00), 0x0A);
    EXPECT_EQ(resetFired(0x00), 0x0E);
    EXPECT_EQ(resetArmed(0x06), 0x0A) << "a stale RST_CPU must be low before the rising edge";
    EXPECT_EQ(resetFired(0xF1), 0xFF);
    EXPECT_EQ(withPowerState(0x00000008, kD3Hot), 0x0000000Bu);
    EXPECT_EQ(withPowerState(0x0000000B, kD0), 0x00000008u);
    EXPECT_EQ(withPowerState(0x00008108, kD3Hot), 0x0000010Bu) << "PME_Status is not cleared by accident";
    EXPECT_EQ(powerState(0xFFFFFFF9), 1u);
}

TEST(PowerJob, ControlsByName) {
    EXPECT_EQ(powerControlFromText("coldboot"), PowerControl::ColdBoot);
    EXPECT_EQ(powerControlFromText("shutdown"), PowerControl::Shutdown);
    EXPECT_EQ(powerControlFromText("cpu"), PowerControl::CpuReset);
    EXPECT_EQ(powerControlFromText("d3hot"), PowerControl::D3Hot);
    EXPECT_EQ(powerControlFromText("S3"), PowerControl::Unknown) << "names are case-sensitive";
    EXPECT_EQ(PowerJob{}.sleepDelaySeconds, 60);
}
