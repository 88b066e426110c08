#include "io/WorkloadRun.h"

#include <windows.h>

#include <fstream>
#include <memory>

#include "core/ActionResultJson.h"
#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "io/WorkloadDisk.h"
#include "io/WorkloadRunner.h"

namespace zel {
namespace {

bool replayWorkload(WorkloadRunner& runner, const DiskBase& disk) {
    if (disk.refuseIfOsDrive() || !runner.parse(disk.sectorCount())) return false;
    std::unique_ptr<IWorkloadDisk> target = openWorkloadDisk(disk);
    return target && runner.execute(*target, {disk.sectorCount(), disk.logicalSectorSize()});
}

// Into the same document that --commfile loads and --info --init writes.
bool saveWorkloadInfo(const Json& info, const std::string& commfile) {
    ActionResultJson& result = ActionResultJson::instance(commfile);
    result.document()["workload_info"] = info;
    if (result.save()) return true;
    logWarning("[Workload] Cannot write the result file \"%s\"", result.path().c_str());
    setLastError(ERROR_WRITE_FAULT);
    return false;
}
}  // namespace

namespace {

ErrorCode runSteps(const WorkloadJob& job, const DiskBase& disk, WorkloadRunRecord* record) {
    std::ifstream file(job.path, std::ios::binary);  // no end-of-file at a Ctrl-Z byte
    if (!file) {
        logWarning("[Workload] Cannot open workload file \"%s\"", job.path.c_str());
        setLastError(ERROR_FILE_NOT_FOUND);
        return ERROR_FILE_NOT_FOUND;
    }
    WorkloadRunner runner(file);
    const bool done = job.analyzeOnly ? runner.analyze(disk.sectorCount()) : replayWorkload(runner, disk);
    const ErrorCode code = done ? err::kOk : lastError();
    if (!runner.parsed()) return code;
    const Json info = runner.workloadInfo(!job.analyzeOnly);
    if (record) record->workloadInfo = info;
    if (saveWorkloadInfo(info, job.commfile)) return code;
    return code ? code : lastError();
}

}  // namespace

ErrorCode runWorkload(const WorkloadJob& job, const DiskBase& disk, WorkloadRunRecord* record) {
    const ErrorCode code = runSteps(job, disk, record);
    if (record) {
        record->analyzeOnly = job.analyzeOnly;
        record->result = code;
    }
    return code;
}

}  // namespace zel
