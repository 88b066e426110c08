#pragma once

#include "core/ErrorCodes.h"
#include "io/WorkloadJob.h"

namespace zel {

class DiskBase;

// The wkld action's run: analyses the workload file, or replays it on the
// disk, and stores "workload_info" in the JSON result document.
ErrorCode runWorkload(const WorkloadJob& job, const DiskBase& disk);

}  // namespace zel
