#include "host/DevconWrapper.h"

#include "core/Logger.h"
#include "core/TextFormat.h"
#include "host/CommandLineQuoting.h"
#include "host/HostToolSettings.h"
#include "host/ProcessRunner.h"
#include "host/ProcessTermination.h"
#include "host/ToolCommand.h"

namespace zel {

std::string DevconWrapper::hardwareId(uint16_t vendorId, uint16_t deviceId) {
    return formatText("PCI\\VEN_%04X&DEV_%04X", vendorId, deviceId);
}

bool DevconWrapper::runDevcon(const std::string& arguments, double timeoutSeconds, RunResult* result) {
    RunRequest request;
    request.timeoutSeconds = timeoutSeconds;
    request.captureOutput = true;
    if (!toolCommandLine(toolfile::kDevcon, ToolHome::BesideProgram, arguments, &request.commandLine)) return false;
    ProcessRunner runner;
    if (!runner.run(request, result) && !runner.processId()) return false;
    // A devcon that hangs holds the device installation lock; the next
    // devcon would wait behind it.
    if (result->code == err::kSubprocessTimeout) terminateChildProcesses(toolfile::kDevcon);
    return true;
}

bool DevconWrapper::rescan(double timeoutSeconds) {
    RunResult result;
    if (!runDevcon("rescan", timeoutSeconds, &result)) {
        logWarning("Failed to run rescan, error: %s", errorText(lastError()).c_str());
        return false;
    }
    if (result.code == 0) {
        logInfo("rescan done, elapsed time: %.2f", result.elapsedSeconds);
        return true;
    }
    if (result.code == err::kSubprocessTimeout)
        logInfo("rescan time exceeds timeout: %.2f", timeoutSeconds);
    else
        logWarning("rescan error code: %.d", static_cast<int>(result.code));
    return false;
}

bool DevconWrapper::enable(const std::string& id, double timeoutSeconds) {
    return switchDevice("enable", id, timeoutSeconds);
}

bool DevconWrapper::disable(const std::string& id, double timeoutSeconds) {
    return switchDevice("disable", id, timeoutSeconds);
}

// devcon asks for a reboot when Windows cannot stop the device now; the
// change then happens on reboot, which counts as done.
bool DevconWrapper::switchDevice(const char* verb, const std::string& id, double timeoutSeconds) {
    RunResult result;
    if (!runDevcon(std::string(verb) + " " + quotedArgument(id), timeoutSeconds, &result)) {
        logWarning("Failed to %s device, error: %s", verb, errorText(lastError()).c_str());
        return false;
    }
    if (result.code == 0) {
        logInfo("%s device done, elapsed time: %.2f", verb, result.elapsedSeconds);
        return true;
    }
    if (result.code == err::kSubprocessTimeout) {
        logInfo("%s device time exceeds timeout: %.2f", verb, timeoutSeconds);
        return false;
    }
    if (result.output.find("on reboot") != std::string::npos) {
        logInfo("%s device done, skip on reboot message, elapsed time: %.2f", verb, result.elapsedSeconds);
        return true;
    }
    logWarning("%s device error code: %.d\n%s", verb, static_cast<int>(result.code), result.output.c_str());
    return false;
}

int DevconWrapper::execute(const std::string& arguments, std::string* output) {
    const std::string path = deviceApi().toolPath(toolfile::kDevcon, ToolHome::BesideProgram);
    logInfo("Execute... %s %s", path.c_str(), arguments.c_str());
    if (path.empty()) return static_cast<int>(takeSystemLastError());
    std::string text;
    const int code = runAsync(quotedArgument(path), arguments, 0, &text);
    if (!text.empty()) logInfo("%s", text.c_str());
    if (output) *output = text;
    return code;
}

}  // namespace zel
