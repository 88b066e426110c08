#pragma once

#include "core/ErrorCodes.h"
#include "io/RwJob.h"
#include "io/RwRecord.h"

namespace zel {

class DiskBase;

// The rw action's run: checks the job against the disk, splits the range
// into worker records, runs one IoWorker thread per record and reduces
// their codes to one, which is also left as the last error. When given,
// record gets what each worker was asked to do and did.
ErrorCode runRw(const RwJob& job, DiskBase& disk, RwRunRecord* record = nullptr);

}  // namespace zel
