#pragma once

#include "core/ErrorCodes.h"
#include "io/CmdJob.h"
#include "io/CmdRecord.h"

namespace zel {

class DiskBase;

// The cmd action's run: one raw command, shortcut or dump on the disk, its
// answer in the INI result and the data in the binary result file. When
// given, record gets the request, the answer and the result.
ErrorCode runCmd(const CmdJob& job, DiskBase& disk, CmdRunRecord* record = nullptr);

}  // namespace zel
