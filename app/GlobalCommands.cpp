#include "app/GlobalCommands.h"

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "core/Logger.h"
#include "core/ProcessSwitches.h"

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

Outcome runMonitor(const ParseResult& args) {
    if (args.integer("diskid", -1) == -1) return 1u;
    return notSupported("monitor");
}

// --formatd / --cleand continue to the action when one is given and they
// succeed; they cannot succeed before the disk tools are available.
Outcome runFormat(const ParseResult&, const char* option) { return notSupported(option); }

Outcome runPrecheck(const ParseResult&) {
    processSwitches().precheck = true;
    return notSupported("prechk");
}

Outcome runDriverCommand(const ParseResult& args, const char* option) {
    if (args.text(option).empty()) return err::kWrongArguments;
    return notSupported(option);
}

struct GlobalCommand {
    const char* option;
    std::function<Outcome(const ParseResult&)> run;
};

const std::vector<GlobalCommand>& commandTable() {
    static const std::vector<GlobalCommand> table = {
        {"info", [](const ParseResult&) { return notSupported("info"); }},
        {"exist", [](const ParseResult&) { return notSupported("exist"); }},
        {"rescan", [](const ParseResult&) { return notSupported("rescan"); }},
        {"enablepci", [](const ParseResult&) { return notSupported("enablepci"); }},
        {"disablepci", [](const ParseResult&) { return notSupported("disablepci"); }},
        {"startup", [](const ParseResult&) { return notSupported("startup"); }},
        {"formatd", [](const ParseResult& a) { return runFormat(a, "formatd"); }},
        {"cleand", [](const ParseResult& a) { return runFormat(a, "cleand"); }},
        {"monitor", runMonitor},
        {"screenshot", [](const ParseResult&) { return notSupported("screenshot"); }},
        {"disable-cmd", [](const ParseResult&) { return notSupported("disable-cmd"); }},
        {"enable-cmd", [](const ParseResult&) { return notSupported("enable-cmd"); }},
        {"suspend-proc", [](const ParseResult&) { return notSupported("suspend-proc"); }},
        {"resume-proc", [](const ParseResult&) { return notSupported("resume-proc"); }},
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
        Outcome outcome = command.run(args);
        if (outcome) return outcome;
    }
    return std::nullopt;
}

ErrorCode closeWinIo() { return *notSupported("close_winio"); }

}  // namespace zel
