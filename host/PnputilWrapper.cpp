#include "host/PnputilWrapper.h"

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "host/CommandLineQuoting.h"
#include "host/HostToolSettings.h"
#include "host/ProcessRunner.h"
#include "host/ToolCommand.h"

namespace zel {

// The name comes from devcon's listing; one that reads as a switch is not
// passed on.
int PnputilWrapper::deleteDriver(const std::string& publishedName) {
    const std::string arguments = "/delete-driver " + argumentText(publishedName) + " /force";
    logInfo("Execute... pnputil %s", arguments.c_str());
    if (looksLikeSwitch(publishedName)) {
        setLastError(err::kWrongArguments);
        return static_cast<int>(err::kWrongArguments);
    }
    std::string commandLine;
    if (!toolCommandLine(toolfile::kPnputil, ToolHome::System, "", &commandLine))
        return static_cast<int>(lastError());
    std::string output;
    const int code = runAsync(commandLine, arguments, 0, &output);
    if (!output.empty()) logInfo("%s", output.c_str());
    return code;
}

}  // namespace zel
