#include "app/Actions.h"

#include <ctime>

#include "app/ActionRecords.h"
#include "app/JobReaders.h"
#include "core/Logger.h"
#include "io/CmdRun.h"
#include "io/RwEngine.h"
#include "io/WorkloadRun.h"
#include "power/PowerRun.h"
#include "smart/SmartRun.h"

namespace {
const char* const kMissDisk = "Miss some options (diskid/diskmodel/disksn/diskpattern)!";

}  // namespace

bool ActionPowerSwitch::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    if (!options.has("pwrctrl")) return missOptions("Miss some options (pwrctrl)!");
    if (!options.has("pwrid") && !options.has("pwrmodel")) return missOptions("Miss some options (pwrid/pwrmodel)!");
    if (!acceptJob(zel::readPowerJob(options, &job_))) return false;
    // A DUT whose power is off is not in the list; the switch alone can
    // still turn it on, or measure.
    return selectDisk(job_.disk) || (zel::lastError() == zel::err::kDiskNotFound &&
                                     zel::controlNeedsOnlySwitch(job_.control));
}

zel::ErrorCode ActionPowerSwitch::execute(const zel::ParseResult&) {
    ran_ = true;
    return disk_ ? zel::runPower(job_, *disk_, &record_) : zel::runPowerWithoutDut(job_, &record_);
}

zel::Json ActionPowerSwitch::record() const { return ran_ ? zel::pwrRecordJson(record_) : zel::Json(nullptr); }

bool ActionRw::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    if (!options.has("rw")) return missOptions("Miss some options (rw)!");
    const uint64_t now = static_cast<uint64_t>(std::time(nullptr));
    return acceptJob(zel::readRwJob(options, now, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionRw::execute(const zel::ParseResult&) {
    ran_ = true;
    return zel::runRw(job_, *disk_, &record_);
}

zel::Json ActionRw::record() const { return ran_ ? zel::rwRecordJson(record_) : zel::Json(nullptr); }

bool ActionCommand::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options)) return missOptions(kMissDisk);
    return acceptJob(zel::readCmdJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionCommand::execute(const zel::ParseResult&) {
    ran_ = true;
    return zel::runCmd(job_, *disk_, &record_);
}

zel::Json ActionCommand::record() const { return ran_ ? zel::cmdRecordJson(record_) : zel::Json(nullptr); }

bool ActionWorkload::init(const zel::ParseResult& options) {
    if (!options.has("diskid") || !options.has("path")) return missOptions("Miss some options (diskid / path)!");
    return acceptJob(zel::readWorkloadJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionWorkload::execute(const zel::ParseResult&) {
    ran_ = true;
    return zel::runWorkload(job_, *disk_, &record_);
}

zel::Json ActionWorkload::record() const { return ran_ ? zel::wkldRecordJson(record_) : zel::Json(nullptr); }

bool ActionSmart::init(const zel::ParseResult& options) {
    if (!zel::hasDiskOption(options, false)) return missOptions("Miss some options (diskid/disksn/diskpattern)!");
    return acceptJob(zel::readSmartJob(options, &job_)) && selectDisk(job_.disk);
}

zel::ErrorCode ActionSmart::execute(const zel::ParseResult&) {
    ran_ = true;
    return zel::runSmart(job_, *disk_, &record_);
}

zel::Json ActionSmart::record() const { return ran_ ? zel::smartRecordJson(record_) : zel::Json(nullptr); }
