#pragma once

#include "core/ErrorCodes.h"
#include "smart/SmartJob.h"
#include "smart/SmartRunRecord.h"

namespace zel {

class DiskBase;

// One smart check of a disk: reads its SMART data or log pages and the
// earlier readings, writes the result files, compares against the limits
// and records a successful check in the registry. Returns 0, 0x20000102 on
// a limit conflict, or the last error a failing step set. When given,
// record gets "smart_info" and each attribute's verdict.
ErrorCode runSmart(const SmartJob& job, DiskBase& disk, SmartRunRecord* record = nullptr);

}  // namespace zel
