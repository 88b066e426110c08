#include "io/WorkloadDisk.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"

namespace zel {

std::unique_ptr<IWorkloadDisk> openWorkloadDisk(const DiskBase&) {
    logWarning("[Workload] Execution of workload files is not available yet");
    setLastError(err::kNotSupported);
    return nullptr;
}

}  // namespace zel
