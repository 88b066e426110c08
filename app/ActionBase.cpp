#include "app/ActionBase.h"

#include "app/RunRecordFrame.h"
#include "core/Logger.h"
#include "core/RunRecord.h"
#include "disk/DiskList.h"

bool ActionBase::missOptions(const char* message) {
    zel::Logger::instance().warning(message);
    zel::setLastError(zel::err::kWrongArguments);
    return false;
}

bool ActionBase::acceptJob(const std::optional<zel::OptionProblem>& problem) {
    if (!problem) return true;
    zel::reportOptionProblem(*problem);
    return false;
}

bool ActionBase::selectDisk(const zel::DiskSelector& selector) {
    disk_ = zel::DiskList::instance().get(true).findDisk(selector);
    if (!disk_) zel::setLastError(zel::err::kDiskNotFound);
    return disk_ != nullptr;
}

void ActionBase::addToRunRecord() const {
    if (disk_) zel::recordRunDisk(*disk_);
    zel::Json part = record();
    if (!part.is_null()) zel::runRecord()[name()] = std::move(part);
}
