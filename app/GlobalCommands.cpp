#include "app/GlobalCommands.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "app/JobReaders.h"
#include "app/OptionReader.h"
#include "core/ActionResultJson.h"
#include "core/IniFile.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/ProcessSwitches.h"
#include "disk/DiskList.h"
#include "disk/DiskReport.h"
#include "disk/PortIoDriver.h"
#include "host/ConsoleCloseButton.h"
#include "host/OsInfoCollector.h"
#include "host/PlatformInfoCollector.h"
#include "host/Screenshot.h"
#include "host/StartupTask.h"

namespace zel {
namespace {

using Outcome = std::optional<ErrorCode>;

// A global command whose subsystem is not part of this build answers with a
// clear error instead of silently succeeding.
Outcome notSupported(const char* option) {
    setLastError(err::kNotSupported);
    logError("[ZelCli] --%s... %s", option, errorText(err::kNotSupported).c_str());
    return err::kNotSupported;
}

const char kDefaultIni[] = "zelcli_output.ini";
const char kDefaultJson[] = "zelcli_actres.json";

// The entry has checked the numbers, so the selector reads them as given.
DiskBase* selectedDisk(const ParseResult& args, bool fullBuild) {
    return DiskList::instance().get(fullBuild).findDisk(OptionReader(args).diskSelector());
}

void showOneDisk(const ParseResult& args) {
    DiskBase* disk = selectedDisk(args, true);
    if (!disk) {
        logError("[ZelCli] %s", errorText(err::kDiskNotFound).c_str());
        return;
    }
    if (!args.has("out-ini")) {
        printDiskInformation(*disk);
        return;
    }
    IniFile ini(resolveOutputPath(args.text("out-ini", kDefaultIni)));
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
    if (args.has("out-ini")) list.writeIni(resolveOutputPath(args.text("out-ini", kDefaultIni)));
    logInfo("%s", "");
}

Outcome runInfo(const ParseResult& args) {
    if (hasDiskOption(args))
        showOneDisk(args);
    else
        showHost(args);
    if (args.has("init")) {
        ActionResultJson& json = ActionResultJson::instance(args.text("commfile", kDefaultJson));
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

Outcome runDriverCommand(const ParseResult& args, const char* option) {
    if (args.text(option).empty()) return err::kWrongArguments;
    return notSupported(option);
}

// An entry without a handler belongs to a subsystem not in this build.
struct GlobalCommand {
    const char* option;
    std::function<Outcome(const ParseResult&)> run;
};

const std::vector<GlobalCommand>& commandTable() {
    static const std::vector<GlobalCommand> table = {
        {"info", runInfo},
        {"exist", runExist},
        {"rescan", nullptr},
        {"enablepci", nullptr},
        {"disablepci", nullptr},
        {"startup", runStartup},
        {"formatd", nullptr},
        {"cleand", nullptr},
        {"monitor", runMonitor},
        {"screenshot", runScreenshot},
        {"disable-cmd", [](const ParseResult&) { return runConsoleClose(false); }},
        {"enable-cmd", [](const ParseResult&) { return runConsoleClose(true); }},
        {"suspend-proc", nullptr},
        {"resume-proc", nullptr},
        {"prechk", runPrecheck},
        {"update-driver", [](const ParseResult& a) { return runDriverCommand(a, "update-driver"); }},
        {"delete-driver", [](const ParseResult& a) { return runDriverCommand(a, "delete-driver"); }},
    };
    return table;
}

}  // namespace

std::optional<ErrorCode> runGlobalCommands(const ParseResult& args) {
    for (const GlobalCommand& command : commandTable()) {
        if (!args.has(command.option)) continue;
        Outcome outcome = command.run ? command.run(args) : notSupported(command.option);
        if (outcome) return outcome;
    }
    return std::nullopt;
}

ErrorCode closeWinIo() {
    PortIoDriver::instance().closeAndRemove();
    return err::kOk;
}

}  // namespace zel
