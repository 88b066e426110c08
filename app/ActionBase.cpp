#include "app/ActionBase.h"

#include "app/DiskSelection.h"
#include "core/Logger.h"

bool ActionBase::missOptions(const char* message) {
    zel::Logger::instance().warning(message);
    zel::setLastError(zel::err::kWrongArguments);
    return false;
}

bool ActionBase::lookupDisk(const zel::ParseResult& options) {
    disk_ = zel::findSelectedDisk(options);
    return disk_ != nullptr;
}

bool ActionBase::selectDisk(const zel::ParseResult& options, const char* missingMessage, bool acceptModel) {
    if (!zel::hasDiskSelector(options, acceptModel)) return missOptions(missingMessage);
    return lookupDisk(options);
}
