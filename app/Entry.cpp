#include "app/Entry.h"

#include <windows.h>

#include <cstdlib>
#include <iostream>

#include "app/ActionFactory.h"
#include "app/CommandLineChecks.h"
#include "app/GlobalCommands.h"
#include "app/OptionTable.h"
#include "app/SeamSelection.h"
#include "app/Unattended.h"
#include "core/ActionResultJson.h"
#include "core/Clock.h"
#include "core/Logger.h"
#include "core/Paths.h"
#include "core/ProcessSwitches.h"
#include "core/SafeSave.h"
#include "disk/DiskList.h"
#include "host/CrashDumper.h"

namespace zel {
namespace {

// Creates every missing folder of a path so a new log folder just works.
void createFolders(const std::string& dir) {
    for (size_t i = 0; i <= dir.size(); ++i) {
        if (i < dir.size() && dir[i] != '\\' && dir[i] != '/') continue;
        std::string prefix = dir.substr(0, i);
        if (!prefix.empty() && prefix.back() != ':') CreateDirectoryA(prefix.c_str(), nullptr);
    }
}

void setProcessSwitches(const ParseResult& args) {
    ProcessSwitches& switches = processSwitches();
    if (args.has("debug")) switches.debug = true;
    if (args.has("pwrtype") && args.text("pwrtype") == "sata_gpio")
        switches.powerSwitchType = switchvalue::kSataGpioPowerSwitch;
    if (args.has("protocol") && args.text("protocol") == "zelnvme")
        switches.nvmeProtocol = switchvalue::kForcedNvmeMiniport;
    // Benchmarks only: what the per-transfer latency costs.
    const char* latency = std::getenv("ZELCLI_LATENCY");
    if (latency && std::string(latency) == "off") switches.latencyCapture = false;
}

void printHelp(const cxxopts::Options& options) { std::cout << options.help() << std::flush; }

}  // namespace

void setUpLogging(const ParseResult& args, bool withFiles) {
    Logger& logger = Logger::instance();
    logger.setLevels(kUpperBound, args.has("debug") ? kDebug : kInfo);
    if (args.has("debug")) CrashDumper::instance();
    logger.setConsoleEcho(true);
    if (!withFiles) return;
    if (args.has("logdir")) {
        logger.setDirectory(args.text("logdir"));
        createFolders(logger.directory());
    }
    if (args.has("logfile")) logger.open(resolveOutputPath(args.text("logfile")));
}

ErrorCode dispatchAction(ActionBase* action, const std::string& name, const ParseResult& args, bool precheck,
                         const cxxopts::Options& options) {
    if (!action) {
        Logger::instance().warning("[ZelCli] No action found!");
        printHelp(options);
        return err::kWrongArguments;
    }
    if (!action->init(args)) {
        ErrorCode code = lastError();
        const bool forgiven = !precheck && code == err::kWinIoInit;
        if (code != 0 && !forgiven) {
            logError("[ZelCli] Failed to initialize action %s... %s", name.c_str(), errorText(code).c_str());
            return code;
        }
    }
    ErrorCode result = action->execute(args);
    if (!precheck && result == err::kWinIoInit) return 0;
    if (result != 0) {
        logError("[ZelCli] Failed to execute action %s... %s", name.c_str(), errorText(result).c_str());
        return result;
    }
    return 0;
}

namespace {

// A refused value is reported before anything else happens; when it is the
// log file's own place, or a path too long to write, on the console only.
bool logFilesFor(const std::optional<OptionProblem>& problem) {
    if (!problem) return true;
    return problem->kind != OptionProblem::Kind::PathTooLong && problem->option != "logfile" &&
           problem->option != "logdir";
}

ErrorCode runSteps(int argc, const char* const* argv) {
    preventErrorDialogs();
    processSwitches().startMilliseconds = nowMilliseconds();
    std::unique_ptr<cxxopts::Options> options = makeOptions();
    const ParseResult args = parseCommandLine(*options, argc, argv);
    if (args.has("help")) {
        printHelp(*options);
        return 0;
    }
    const std::optional<OptionProblem> problem = findCommandLineProblem(args);
    setUpLogging(args, logFilesFor(problem));
    announceVirtualHost();
    logErrorMode();
    if (problem) {
        reportOptionProblem(*problem);
        return err::kWrongArguments;
    }
    setProcessSwitches(args);
    selectDeviceApi();
    if (args.has("close_winio")) return closeWinIo();
    if (!args.has("init") && args.has("commfile"))
        DiskList::instance().useConfiguration(readDriveInfoList(ActionResultJson::instance(args.text("commfile")).document()));

    if (auto code = runGlobalCommands(args)) return *code;

    DiskList::instance().get(!args.has("init"));
    const std::string name = args.text("action");
    ActionBase* action = ActionFactory::instance()->get(name);
    return dispatchAction(action, name, args, processSwitches().precheck, *options);
}

}  // namespace

// A run whose result file could not be written did not succeed, whatever
// its steps returned (the failure was logged where it happened).
ErrorCode runEntry(int argc, const char* const* argv) {
    const ErrorCode code = runSteps(argc, argv);
    return code == 0 ? resultFileFailure() : code;
}

}  // namespace zel
