#pragma once

#include "core/ActionResultJson.h"
#include "core/ErrorCodes.h"

namespace zel {

// One wkld run as the run record shows it: the "workload_info" it put in
// the action result file (null when the file could not be parsed).
struct WorkloadRunRecord {
    bool analyzeOnly = false;
    Json workloadInfo;
    ErrorCode result = 0;
};

}  // namespace zel
