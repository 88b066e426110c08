#include "app/Actions.h"

#include "app/DiskSelection.h"

#include "core/Logger.h"

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
    if (!zel::hasDiskSelector(options)) return missOptions(kMissDisk);
    if (!options.has("pwrctrl")) return missOptions("Miss some options (pwrctrl)!");
    if (!options.has("pwrid") && !options.has("pwrmodel")) return missOptions("Miss some options (pwrid/pwrmodel)!");
    return lookupDisk(options);
}

zel::ErrorCode ActionPowerSwitch::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionRw::init(const zel::ParseResult& options) {
    if (!zel::hasDiskSelector(options)) return missOptions(kMissDisk);
    if (!options.has("rw")) return missOptions("Miss some options (rw)!");
    return lookupDisk(options);
}

zel::ErrorCode ActionRw::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionCommand::init(const zel::ParseResult& options) { return selectDisk(options, kMissDisk); }

zel::ErrorCode ActionCommand::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionWorkload::init(const zel::ParseResult& options) {
    if (!options.has("diskid") || !options.has("path")) return missOptions("Miss some options (diskid / path)!");
    return lookupDisk(options);
}

zel::ErrorCode ActionWorkload::execute(const zel::ParseResult&) { return notYetSupported(); }

bool ActionSmart::init(const zel::ParseResult& options) {
    return selectDisk(options, "Miss some options (diskid/disksn/diskpattern)!", false);
}

zel::ErrorCode ActionSmart::execute(const zel::ParseResult&) { return notYetSupported(); }
