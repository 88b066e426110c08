#include "app/Actions.h"

#include <ctime>

#include "app/JobReaders.h"
#include "core/Logger.h"
#include "io/RwEngine.h"
#include "io/WorkloadRun.h"
#include "power/SystemPower.h"
#include "smart/SmartRun.h"

namespace {
const char* const kMissDisk = "Miss some options (diskid/diskmodel/disksn/diskpattern)!";

// The actions' run steps arrive with their subsystems; until then a run that
// gets past init says so instead of doing nothing.
zel::ErrorCode notYetSupported() {
    zel::setLastError(zel::err::kNotSupported);
    return zel::err::kNotSupported;
}

}  // namespace

bool ActionPowerSwitch::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    if (!options.has("pwrctrl")) return missOptions("Miss some options (pwrctrl)!");
    if (!options.has("pwrid") && !options.has("pwrmodel")) return missOptions("Miss some options (pwrid/pwrmodel)!");
    return acceptJob(zel::readPowerJob(options, &job_)) && selectDisk(job_.disk);
}

// The system transitions run here until the power-cycle dispatcher lands.
zel::ErrorCode ActionPowerSwitch::execute(const zel::ParseResult&) {
    switch (job_.control) {
        case zel::PowerControl::CpuReset:
        case zel::PowerControl::ColdBoot:
        case zel::PowerControl::Reboot:
        case zel::PowerControl::Shutdown:
        case zel::PowerControl::S3:
        case zel::PowerControl::S4:
        case zel::PowerControl::D3Hot: return zel::runSystemPower(job_, *disk_);
        default: return notYetSupported();
    }
}

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

zel::ErrorCode ActionWorkload::execute(const zel::ParseResult&) { return zel::runWorkload(job_, *disk_); }

bool ActionSmart::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options, false)) return missOptions("Miss some options (diskid/disksn/diskpattern)!");
    return acceptJob(zel::readSmartJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionSmart::execute(const zel::ParseResult&) { return zel::runSmart(job_, *disk_); }
