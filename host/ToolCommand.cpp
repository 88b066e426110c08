#include "host/ToolCommand.h"

#include "core/ErrorCodes.h"
#include "host/CommandLineQuoting.h"

namespace zel {

bool toolCommandLine(const char* fileName, ToolHome home, const std::string& arguments, std::string* commandLine) {
    const std::string path = deviceApi().toolPath(fileName, home);
    if (path.empty()) {
        if (!takeSystemLastError()) setLastError(ERROR_FILE_NOT_FOUND);
        return false;
    }
    *commandLine = quotedArgument(path);
    if (!arguments.empty()) *commandLine += " " + arguments;
    return true;
}

}  // namespace zel
