#pragma once

#include "core/ErrorCodes.h"
#include "power/PowerJob.h"

namespace zel {

class DiskBase;

// The pwr action's system power transitions (CPU reset, cold boot, reboot,
// S3, S4, D3hot), lines and codes included.
ErrorCode runSystemPower(const PowerJob& job, DiskBase& disk);

}  // namespace zel
