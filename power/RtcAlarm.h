#pragma once

#include <cstdint>

namespace zel {

// Time of day as the RTC alarm sees it.
struct TimeOfDay {
    int hours = 0, minutes = 0, seconds = 0;
};

// The RTC alarm that powers the host on again `delay` seconds after `now`.
// An alarm past midnight wraps, but one landing exactly on 86400 stays as
// it is and reads hour 24: platforms this tool serves have always been
// driven that way, so the boundary is kept.
struct RtcAlarmPlan {
    int now = 0;         // seconds since midnight
    int unwrapped = 0;   // now + delay
    int alarm = 0;       // after the wrap
    TimeOfDay at;        // hour, minute, second of the alarm
    uint8_t bcdHours = 0, bcdMinutes = 0, bcdSeconds = 0;
};

RtcAlarmPlan planRtcAlarm(const TimeOfDay& now, int delaySeconds);

// Two-digit BCD: (v / 10) * 16 + v % 10.
uint8_t toBcd(int value);

}  // namespace zel
