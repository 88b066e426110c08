#pragma once

#include "core/ErrorCodes.h"
#include "power/PowerJob.h"
#include "power/PowerRunRecord.h"

namespace zel {

class DiskBase;

// The pwr action's run step for the disk under test (docs/power.md). When
// given, record gets the switch, the timeline and the counters written.
ErrorCode runPower(const PowerJob& job, DiskBase& dut, PowerRunRecord* record = nullptr);

// The controls that need only the switch ("on", "off", "measure", "vol"),
// for a DUT that is not in the disk list because its power is off; any
// other control answers 0x20000007.
ErrorCode runPowerWithoutDut(const PowerJob& job, PowerRunRecord* record = nullptr);

// The controls that switch or change the DUT's power ("on", "off", "vol",
// "gsd", "ugsd" with their short cycles, "d3hot"): refused for the OS drive.
// Host transitions and "measure" are not among them.
bool controlTouchesDutPower(PowerControl control);

// True for the controls runPowerWithoutDut takes.
bool controlNeedsOnlySwitch(PowerControl control);

}  // namespace zel
