#include "app/Entry.h"

#include <windows.h>

#include <cstdlib>
#include <iostream>

#include "app/ActionFactory.h"
#include "app/BuildVersion.h"
#include "app/CommandLineChecks.h"
#include "app/GlobalCommands.h"
#include "app/OptionTable.h"
#include "app/OptionUsage.h"
#include "app/RunRecordFrame.h"
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

void printHelp(const cxxopts::Options& options) { std::cout << helpText(options) << std::flush; }

ErrorCode printUsage(const std::string& action) {
    const std::string text = usageText(action);
    if (text.empty()) {
        logWarning("[ZelCli] --usage takes an action name (%s), not \"%s\"", usageActionNames().c_str(),
                   action.c_str());
        setLastError(err::kWrongArguments);
        return err::kWrongArguments;
    }
    std::cout << text << std::flush;
    return 0;
}

bool printsOnly(const ParseResult& args) { return args.has("version") || args.has("usage"); }

// --version and --usage print to standard output and end the run.
std::optional<ErrorCode> runPrintingCommands(const ParseResult& args) {
    if (args.has("version")) {
        std::cout << "ZelCli.exe " << toolVersion() << " (revision " << sourceRevision() << ")" << std::endl;
        return 0;
    }
    if (args.has("usage")) return printUsage(args.text("usage"));
    return std::nullopt;
}

// init and execute with the forgiveness of a missing port-I/O driver.
ErrorCode runAction(ActionBase* action, const std::string& name, const ParseResult& args, bool precheck,
                    const cxxopts::Options& options);

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
    recordRunCommand(name, false);
    const ErrorCode code = runAction(action, name, args, precheck, options);
    if (action) action->addToRunRecord();
    return code;
}

namespace {

ErrorCode runAction(ActionBase* action, const std::string& name, const ParseResult& args, bool precheck,
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

// A refused value is reported before anything else happens; when it is the
// log file's own place, a path too long to write or a stray word (which may
// have been meant as a file name), on the console only. A run that only
// prints opens no log file either.
bool logFilesFor(const ParseResult& args, const std::optional<OptionProblem>& problem) {
    if (!problem) return !printsOnly(args);
    using Kind = OptionProblem::Kind;
    return problem->kind != Kind::PathTooLong && problem->kind != Kind::StrayWords && problem->option != "logfile" &&
           problem->option != "logdir";
}

// What the steps leave for the end of the run: the code, and the parsed
// options when the run record may be written (not after help, nor when
// its own path, or the log folder it lands in, was refused).
struct StepsOutcome {
    ErrorCode code = 0;
    ParseResult args;
    bool recordable = false;
};

ErrorCode runSteps(int argc, const char* const* argv, StepsOutcome* outcome) {
    preventErrorDialogs();
    processSwitches().startMilliseconds = nowMilliseconds();
    beginRunRecord(argc, argv, processSwitches().startMilliseconds);
    std::unique_ptr<cxxopts::Options> options = makeOptions();
    outcome->args = parseCommandLine(*options, argc, argv);
    const ParseResult& args = outcome->args;
    if (args.has("help")) {
        printHelp(*options);
        return 0;
    }
    const std::optional<OptionProblem> problem = findCommandLineProblem(args);
    setUpLogging(args, logFilesFor(args, problem));
    outcome->recordable = logFilesFor(args, problem) && !(problem && problem->option == "out_json");
    announceVirtualHost();
    logErrorMode();
    if (problem) {
        reportOptionProblem(*problem);
        return err::kWrongArguments;
    }
    if (auto code = runPrintingCommands(args)) return *code;
    setProcessSwitches(args);
    selectDeviceApi();
    if (args.has("close_winio")) {
        recordRunCommand("close_winio", true);
        return closeWinIo();
    }
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
// its steps returned (the failure was logged where it happened). The run
// record, written last, carries the exit code the process ends with.
ErrorCode runEntry(int argc, const char* const* argv) {
    StepsOutcome outcome;
    const ErrorCode steps = runSteps(argc, argv, &outcome);
    const ErrorCode code = steps == 0 ? resultFileFailure() : steps;
    if (!outcome.recordable || finishRunRecord(outcome.args, code)) return code;
    return code == 0 ? resultFileFailure() : code;
}

}  // namespace zel
