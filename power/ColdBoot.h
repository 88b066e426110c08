#pragma once

#include "core/ErrorCodes.h"
#include "power/RtcAlarm.h"

namespace zel {

// Cold boot: arms the RTC alarm `delaySeconds` after `now` and puts the
// host into S5 through the ACPI PM1 registers, without an operating-system
// shutdown; the alarm powers the platform on again. Every line is printed
// whether or not the port-I/O driver is open; no failure stops the
// sequence. 0 when the run is still alive after the S5 write.
ErrorCode runColdBoot(int delaySeconds, const TimeOfDay& now);

// The same at the local wall-clock time.
ErrorCode runColdBoot(int delaySeconds);

}  // namespace zel
