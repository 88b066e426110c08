#include "app/Actions.h"

#include <windows.h>

#include <ctime>
#include <fstream>
#include <memory>

#include "app/JobReaders.h"
#include "core/ActionResultJson.h"
#include "core/Logger.h"
#include "disk/DiskBase.h"
#include "io/RwEngine.h"
#include "io/WorkloadDisk.h"
#include "io/WorkloadRunner.h"

namespace {
const char* const kMissDisk = "Miss some options (diskid/diskmodel/disksn/diskpattern)!";

// The actions' run steps arrive with their subsystems; until then a run that
// gets past init says so instead of doing nothing.
zel::ErrorCode notYetSupported() {
    zel::setLastError(zel::err::kNotSupported);
    return zel::err::kNotSupported;
}

bool replayWorkload(zel::WorkloadRunner& runner, const zel::DiskBase& disk) {
    if (disk.refuseIfOsDrive() || !runner.parse(disk.sectorCount())) return false;
    std::unique_ptr<zel::IWorkloadDisk> target = zel::openWorkloadDisk(disk);
    return target && runner.execute(*target, {disk.sectorCount(), disk.logicalSectorSize()});
}

// Into the same document that --commfile loads and --info --init writes.
bool saveWorkloadInfo(const zel::Json& info, const std::string& commfile) {
    const std::string path = commfile.empty() ? "zelcli_actres.json" : commfile;
    zel::ActionResultJson& result = zel::ActionResultJson::instance(path);
    result.document()["workload_info"] = info;
    if (result.save()) return true;
    zel::logWarning("[Workload] Cannot write the result file \"%s\"", result.path().c_str());
    zel::setLastError(ERROR_WRITE_FAULT);
    return false;
}
}  // namespace

bool ActionPowerSwitch::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    if (!options.has("pwrctrl")) return missOptions("Miss some options (pwrctrl)!");
    if (!options.has("pwrid") && !options.has("pwrmodel")) return missOptions("Miss some options (pwrid/pwrmodel)!");
    return acceptJob(zel::readPowerJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionPowerSwitch::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionRw::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    if (!options.has("rw")) return missOptions("Miss some options (rw)!");
    const uint64_t now = static_cast<uint64_t>(std::time(nullptr));
    return acceptJob(zel::readRwJob(options, now, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionRw::execute(const zel::ParseResult&) { return zel::runRw(job_, *disk_); }

bool ActionCommand::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    return acceptJob(zel::readCmdJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionCommand::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionWorkload::init(const zel::ParseResult& options) {
    if (!options.has("diskid") || !options.has("path")) return missOptions("Miss some options (diskid / path)!");
    return acceptJob(zel::readWorkloadJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionWorkload::execute(const zel::ParseResult&) {
    std::ifstream file(job_.path, std::ios::binary);  // no end-of-file at a Ctrl-Z byte
    if (!file) {
        zel::logWarning("[Workload] Cannot open workload file \"%s\"", job_.path.c_str());
        zel::setLastError(ERROR_FILE_NOT_FOUND);
        return ERROR_FILE_NOT_FOUND;
    }
    zel::WorkloadRunner runner(file);
    const bool done = job_.analyzeOnly ? runner.analyze(disk_->sectorCount()) : replayWorkload(runner, *disk_);
    const zel::ErrorCode code = done ? zel::err::kOk : zel::lastError();
    if (!runner.parsed() || saveWorkloadInfo(runner.workloadInfo(!job_.analyzeOnly), job_.commfile)) return code;
    return code ? code : zel::lastError();
}

bool ActionSmart::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options, false)) return missOptions("Miss some options (diskid/disksn/diskpattern)!");
    return acceptJob(zel::readSmartJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionSmart::execute(const zel::ParseResult&) { return notYetSupported(); }
