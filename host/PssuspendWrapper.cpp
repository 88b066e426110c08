#include "host/PssuspendWrapper.h"

#include "core/Logger.h"
#include "host/CommandLineQuoting.h"
#include "host/HostToolSettings.h"
#include "host/ProcessRunner.h"
#include "host/ToolCommand.h"

namespace zel {

struct PssuspendWrapper::Lines {
    const char* done;
    const char* timeout;
    const char* error;
};

bool PssuspendWrapper::suspend(const std::string& processName, double timeoutSeconds) {
    static const Lines lines = {"suspend process %s done, elapsed time: %.2f", "suspend process exceeds timeout: %.2f",
                                "suspend process error code: %.d"};
    return run(lines, "", processName, timeoutSeconds);
}

bool PssuspendWrapper::resume(const std::string& processName, double timeoutSeconds) {
    static const Lines lines = {"resume process %s done, elapsed time: %.2f", "resume process exceeds timeout: %.2f",
                                "resume process error code: %.d"};
    return run(lines, "-r ", processName, timeoutSeconds);
}

// -accepteula: on a fresh host the licence dialog would otherwise wait for
// a click. A name that reads as a switch would change what pssuspend does.
bool PssuspendWrapper::run(const Lines& lines, const std::string& switches, const std::string& processName,
                           double timeoutSeconds) {
    RunRequest request;
    request.timeoutSeconds = timeoutSeconds;
    request.captureOutput = true;
    RunResult result;
    if (looksLikeSwitch(processName)) {
        setLastError(err::kWrongArguments);
        result.code = err::kWrongArguments;
    } else if (!toolCommandLine(toolfile::kPssuspend, ToolHome::BesideProgram,
                                "-accepteula " + switches + argumentText(processName), &request.commandLine)) {
        result.code = lastError();
    } else if (ProcessRunner().run(request, &result)) {
        logInfo(lines.done, processName.c_str(), result.elapsedSeconds);
        return true;
    }
    if (result.code == err::kSubprocessTimeout)
        logInfo(lines.timeout, timeoutSeconds);
    else
        logWarning(lines.error, static_cast<int>(result.code));
    return false;
}

}  // namespace zel
