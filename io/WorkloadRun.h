#pragma once

#include "core/ErrorCodes.h"
#include "io/WorkloadJob.h"
#include "io/WorkloadRecord.h"

namespace zel {

class DiskBase;

// The wkld action's run: analyses the workload file, or replays it on the
// disk, and stores "workload_info" in the JSON result document.
// When given, record gets "workload_info" and the result.
ErrorCode runWorkload(const WorkloadJob& job, const DiskBase& disk, WorkloadRunRecord* record = nullptr);

}  // namespace zel
