#include "power/RtcAlarm.h"

namespace zel {
namespace {
constexpr int kSecondsPerDay = 86400;
}

uint8_t toBcd(int value) { return static_cast<uint8_t>((value / 10) * 16 + value % 10); }

RtcAlarmPlan planRtcAlarm(const TimeOfDay& now, int delaySeconds) {
    RtcAlarmPlan plan;
    plan.now = now.hours * 3600 + now.minutes * 60 + now.seconds;
    plan.unwrapped = plan.now + delaySeconds;
    // Kept as built: an alarm of exactly one day stays 86400, hour 24.
    plan.alarm = plan.unwrapped > kSecondsPerDay ? plan.unwrapped - kSecondsPerDay : plan.unwrapped;
    plan.at.hours = plan.alarm / 3600;
    plan.at.minutes = (plan.alarm / 60) % 60;
    plan.at.seconds = plan.alarm % 60;
    plan.bcdHours = toBcd(plan.at.hours);
    plan.bcdMinutes = toBcd(plan.at.minutes);
    plan.bcdSeconds = toBcd(plan.at.seconds);
    return plan;
}

}  // namespace zel
