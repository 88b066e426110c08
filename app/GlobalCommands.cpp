#include "app/GlobalCommands.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "app/JobReaders.h"
#include "app/OptionReader.h"
#include "app/RunRecordFrame.h"
#include "core/ActionResultJson.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/ProcessSwitches.h"
#include "core/RunRecord.h"
#include "core/ResultFileNames.h"
#include "disk/DiskList.h"
#include "disk/DiskReport.h"
#include "disk/PortIoDriver.h"
#include "host/ConsoleCloseButton.h"
#include "host/DevconWrapper.h"
#include "host/DiskpartWrapper.h"
#include "host/DriverMaintenance.h"
#include "host/HostToolSettings.h"
#include "host/OsInfoCollector.h"
#include "host/PlatformInfoCollector.h"
#include "host/PssuspendWrapper.h"
#include "host/Screenshot.h"
#include "host/StartupTask.h"

namespace zel {
namespace {

using Outcome = std::optional<ErrorCode>;

// The entry has checked the numbers, so the selector reads them as given.
DiskBase* selectedDisk(const ParseResult& args, bool fullBuild) {
    return DiskList::instance().get(fullBuild).findDisk(OptionReader(args).diskSelector());
}

// The info command's part of the run record: the disks it showed.
void recordInfoDisks(const std::vector<const DiskBase*>& disks) {
    Json list = Json::array();
    for (const DiskBase* disk : disks) list.push_back(diskJson(*disk));
    runRecord()["info"] = {{"disks", list}};
}

void showOneDisk(const ParseResult& args) {
    DiskBase* disk = selectedDisk(args, true);
    recordInfoDisks(disk ? std::vector<const DiskBase*>{disk} : std::vector<const DiskBase*>{});
    if (!disk) {
        logError("[ZelCli] %s", errorText(err::kDiskNotFound).c_str());
        return;
    }
    if (!args.has("out-ini")) {
        printDiskInformation(*disk);
        return;
    }
    IniFile ini(resolveOutputPath(args.text("out-ini", kDefaultOutputIni)));
    writeDiskInformation(*disk, ini);
}

void showHost(const ParseResult& args) {
    PlatformInfoCollector platform;
    platform.collect();
    platform.print();
    OsInfoCollector os;
    os.collect();
    os.print();
    DiskList& list = DiskList::instance().get(true);
    list.print();
    std::vector<const DiskBase*> shown;
    for (const auto& disk : list.disks()) shown.push_back(disk.get());
    recordInfoDisks(shown);
    if (args.has("out-ini")) list.writeIni(resolveOutputPath(args.text("out-ini", kDefaultOutputIni)));
    logInfo("%s", "");
}

Outcome runInfo(const ParseResult& args) {
    if (hasDiskOption(args))
        showOneDisk(args);
    else
        showHost(args);
    if (args.has("init")) {
        ActionResultJson& json = ActionResultJson::instance(args.text("commfile", kDefaultActionResultJson));
        DiskList::instance().get(true).writeJson(json);
    }
    return PortIoDriver::instance().isOpen() ? err::kOk : err::kWinIoInit;
}

Outcome runExist(const ParseResult& args) {
    DiskBase* disk = selectedDisk(args, false);
    if (!disk || !disk->isPresent()) return err::kExistMissing;
    logDebug("Disk%d exists", disk->number());
    return err::kOk;
}

// Without a path the task of that name is removed.
Outcome runStartup(const ParseResult& args) {
    const std::string name = args.text("name");
    const std::string path = args.text("path");
    const std::string arguments = args.text("arg");
    bool done = false;
    if (path.empty()) {
        logDebug("Unregister auto-run %s [%s %s]", name.c_str(), path.c_str(), arguments.c_str());
        done = unregisterStartupAction(name);
        if (done) logInfo("Successfully unregister start-up action.");
    } else {
        logDebug("Register auto-run %s [%s %s]", name.c_str(), path.c_str(), arguments.c_str());
        done = registerStartupAction(name, path, arguments);
        if (done) logInfo("Successfully register start-up action.");
    }
    if (done) return err::kOk;
    setLastError(err::kStartupFailed);
    return err::kStartupFailed;
}

Outcome runMonitor(const ParseResult& args) {
    const int id = args.integer("diskid", -1);
    if (id == -1) return 1u;
    DiskBase* disk = DiskList::instance().get(true).findDisk(DiskSelector::byNumber(id));
    if (!disk || !disk->pcieInfo()) return 1u;
    std::printf("link_speed=%s, link_width=x%d", disk->pcieInfo()->linkSpeedText().c_str(),
                static_cast<int>(disk->pcieInfo()->linkWidth));
    std::fflush(stdout);
    return err::kOk;
}

Outcome runScreenshot(const ParseResult& args) {
    takeScreenshot(resolveOutputPath(args.text("screenshot")));
    return err::kOk;
}

Outcome runConsoleClose(bool enable) {
    setConsoleCloseButton(enable);
    return err::kOk;
}

Outcome runPrecheck(const ParseResult&) {
    processSwitches().precheck = true;
    if (DiskList::instance().get(true).builtWithoutError()) return std::nullopt;
    return PortIoDriver::instance().isOpen() ? lastError() : err::kWinIoInit;
}

Outcome runRescan(const ParseResult&) {
    const bool ok = DevconWrapper().rescan(kRescanTimeoutSeconds);
    logDebug("Rescan result=%d", ok ? 1 : 0);
    return ok ? err::kOk : err::kRescanFailed;
}

std::string hardwareIdOf(const ParseResult& args) {
    return DevconWrapper::hardwareId(static_cast<uint16_t>(args.integer("vid", 0)),
                                     static_cast<uint16_t>(args.integer("did", 0)));
}

Outcome runEnablePci(const ParseResult& args) {
    const bool ok = DevconWrapper().enable(hardwareIdOf(args), kSwitchDeviceTimeoutSeconds);
    logDebug("Enable PCI device result=%d", ok ? 1 : 0);
    return ok ? err::kOk : err::kEnablePciFailed;
}

Outcome runDisablePci(const ParseResult& args) {
    const bool ok = DevconWrapper().disable(hardwareIdOf(args), kSwitchDeviceTimeoutSeconds);
    logDebug("Disable PCI device result=%d", ok ? 1 : 0);
    return ok ? err::kOk : err::kDisablePciFailed;
}

// formatd and cleand: the disk is checked before diskpart runs; without
// --diskid diskpart gets -1 and refuses it. With --action the run goes on
// to the action after a success.
struct DiskpartJob {
    const char* logLine;
    ErrorCode failure;
    std::function<bool(int, const DiskBase*)> run;
};

Outcome runDiskpartJob(const ParseResult& args, const DiskpartJob& job) {
    const int id = args.integer("diskid", -1);
    const DiskBase* disk = nullptr;
    if (id != -1) {
        disk = DiskList::instance().get(false).findDisk(DiskSelector::byNumber(id));
        if (!disk) return err::kDiskNotFound;
        if (disk->refuseIfOsDrive()) return err::kOsDrive;
    }
    const bool ok = job.run(id, disk);
    logInfo(job.logLine, ok ? "done" : "failed");
    if (ok && args.has("action")) return std::nullopt;
    return ok ? err::kOk : job.failure;
}

Outcome runFormat(const ParseResult& args) {
    return runDiskpartJob(args, {"Format disk... %s", err::kFormatFailed, [](int id, const DiskBase* disk) {
                                     return DiskpartWrapper().format(id, DiskpartWrapper::letterFor(disk),
                                                                     kDiskpartTimeoutSeconds);
                                 }});
}

Outcome runClean(const ParseResult& args) {
    return runDiskpartJob(args, {"Clean disk... %s", err::kCleanFailed, [](int id, const DiskBase*) {
                                     return DiskpartWrapper().clean(id, kDiskpartTimeoutSeconds);
                                 }});
}

Outcome runSuspend(const ParseResult& args) {
    const bool ok = PssuspendWrapper().suspend(args.text("suspend-proc"), kPssuspendTimeoutSeconds);
    return ok ? err::kOk : err::kSuspendFailed;
}

Outcome runResume(const ParseResult& args) {
    const bool ok = PssuspendWrapper().resume(args.text("resume-proc"), kPssuspendTimeoutSeconds);
    return ok ? err::kOk : err::kResumeFailed;
}

// The disk named by --diskid, from the list built without the PCIe pass.
DiskBase* driverDisk(const ParseResult& args) {
    return DiskList::instance().get(false).findDisk(DiskSelector::byNumber(args.integer("diskid", -1)));
}

Outcome runUpdateDriver(const ParseResult& args) {
    const std::string inf = args.text("update-driver");
    if (inf.empty()) return err::kWrongArguments;
    DiskBase* disk = driverDisk(args);
    if (!disk) return err::kDiskNotFound;
    if (!DiskList::instance().inspectPcie(*disk)) return err::kNotSupported;
    return updateDriver(DevconWrapper::hardwareId(kOwnNvmeVendorId, kOwnNvmeDeviceId), inf);
}

Outcome runDeleteDriver(const ParseResult& args) {
    const std::string keyword = args.text("delete-driver");
    if (keyword.empty()) return err::kWrongArguments;
    DiskBase* disk = driverDisk(args);
    if (!disk) return err::kDiskNotFound;
    if (disk->diskKind() != diskkind::kNvme) return err::kNotSupported;
    if (!DiskList::instance().inspectPcie(*disk)) return lastError();
    const PcieInfo& pci = *disk->pcieInfo();
    return deleteDriver(DevconWrapper::hardwareId(static_cast<uint16_t>(pci.vendorId),
                                                  static_cast<uint16_t>(pci.deviceId)),
                        keyword);
}

// In the order the entry tests them; the first that answers ends the run.
struct GlobalCommand {
    const char* option;
    std::function<Outcome(const ParseResult&)> run;
};

const std::vector<GlobalCommand>& commandTable() {
    static const std::vector<GlobalCommand> table = {
        {"info", runInfo},
        {"exist", runExist},
        {"rescan", runRescan},
        {"enablepci", runEnablePci},
        {"disablepci", runDisablePci},
        {"startup", runStartup},
        {"formatd", runFormat},
        {"cleand", runClean},
        {"monitor", runMonitor},
        {"screenshot", runScreenshot},
        {"disable-cmd", [](const ParseResult&) { return runConsoleClose(false); }},
        {"enable-cmd", [](const ParseResult&) { return runConsoleClose(true); }},
        {"suspend-proc", runSuspend},
        {"resume-proc", runResume},
        {"prechk", runPrecheck},
        {"update-driver", runUpdateDriver},
        {"delete-driver", runDeleteDriver},
    };
    return table;
}

}  // namespace

std::optional<ErrorCode> runGlobalCommands(const ParseResult& args) {
    for (const GlobalCommand& command : commandTable()) {
        if (!args.has(command.option)) continue;
        Outcome outcome = command.run(args);
        if (!outcome) continue;
        recordRunCommand(command.option, true);
        return outcome;
    }
    return std::nullopt;
}

ErrorCode closeWinIo() {
    PortIoDriver::instance().closeAndRemove();
    return err::kOk;
}

}  // namespace zel
