#include <gtest/gtest.h>

#include <map>

#include "vhost/PlatformPower.h"

using zel::vhost::PlatformPower;
using zel::vhost::PowerTransition;

namespace {

// CMOS with an alarm at 00:00:10 and status B as given.
struct Cmos {
    std::map<uint8_t, uint8_t> registers{{0x01, 0x10}, {0x03, 0x00}, {0x05, 0x00}, {0x0B, 0x22}};
    uint8_t operator()(uint8_t index) { return registers[index]; }
};

}  // namespace

TEST(PlatformPower, AlarmIsArmedOnlyWithBothEnables) {
    for (bool aie : {false, true})
        for (bool rtcEn : {false, true}) {
            PlatformPower platform;
            Cmos cmos;
            cmos.registers[0x0B] = aie ? 0x22 : 0x02;
            platform.write(0x1800, rtcEn ? 0x04000000 : 0, std::ref(cmos));
            platform.write(0x1804, 0x3C01, std::ref(cmos));
            auto taken = platform.takeTransitions();
            ASSERT_EQ(taken.size(), 1u);
            EXPECT_EQ(taken[0].details["alarmArmed"], aie && rtcEn) << aie << rtcEn;
        }
}

TEST(PlatformPower, OtherPm1WritesDoNotPowerOff) {
    PlatformPower platform;
    Cmos cmos;
    platform.write(0x1804, 0x1C01, std::ref(cmos));  // S5 type without SLP_EN
    EXPECT_TRUE(platform.takeTransitions().empty());
    EXPECT_EQ(platform.read(0x1804), 0x1C01u);
    platform.write(0x1804, 0x3401, std::ref(cmos));  // SLP_EN with sleep type 5
    auto taken = platform.takeTransitions();
    ASSERT_EQ(taken.size(), 1u);
    EXPECT_NE(taken[0].event, "S5");
    EXPECT_EQ(taken[0].effect, PowerTransition::Effect::None);
}

TEST(PlatformPower, ResetControlFiresOnTheRisingEdgeOfRstCpu) {
    PlatformPower platform;
    Cmos cmos;
    platform.write(0xCF9, 0x0A, std::ref(cmos));
    EXPECT_TRUE(platform.takeTransitions().empty()) << "armed, not fired";
    platform.write(0xCF9, 0x0E, std::ref(cmos));
    auto cold = platform.takeTransitions();
    ASSERT_EQ(cold.size(), 1u);
    EXPECT_EQ(cold[0].event, "cpu-reset");
    EXPECT_EQ(cold[0].details["reset"], "cold");
    EXPECT_EQ(cold[0].effect, PowerTransition::Effect::UnsafeCycle);
    EXPECT_EQ(platform.read(0xCF9), 0u) << "the register resets with the platform";

    platform.write(0xCF9, 0x06, std::ref(cmos));
    auto warm = platform.takeTransitions();
    ASSERT_EQ(warm.size(), 1u);
    EXPECT_EQ(warm[0].details["reset"], "warm");
    EXPECT_EQ(warm[0].effect, PowerTransition::Effect::None);
}
