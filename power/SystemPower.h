#pragma once

#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"
#include "power/PowerJob.h"

namespace zel {

// The pwr runs that move the whole host or the disk's PCI function:
// "cpu", "coldboot", "reboot", "shutdown", "s3", "s4" and "d3hot". Every
// transition goes through the kernel seam, so a virtual host simulates and
// records it. Other controls answer 0x20000003.
ErrorCode runSystemPower(const PowerJob& job, DiskBase& disk);

}  // namespace zel
