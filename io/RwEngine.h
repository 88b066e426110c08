#pragma once

#include "core/ErrorCodes.h"
#include "io/RwJob.h"

namespace zel {

class DiskBase;

// The rw action's run: checks the job against the disk, splits the range
// into worker records, runs one IoWorker thread per record and reduces
// their codes to one, which is also left as the last error.
ErrorCode runRw(const RwJob& job, DiskBase& disk);

}  // namespace zel
