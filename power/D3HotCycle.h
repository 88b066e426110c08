#pragma once

#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"

namespace zel {

// Puts the disk's PCI function into D3hot through its power-management
// capability, keeps it there for `dwellSeconds` and brings it back to D0.
// 0 when both transitions read back; else 0x20000117.
ErrorCode runD3HotCycle(const DiskBase& disk, double dwellSeconds);

}  // namespace zel
