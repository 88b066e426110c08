#pragma once

#include <string>

#include "core/DeviceApi.h"

namespace zel {

// "<tool path in quotes> <arguments>" for a tool found through the seam.
// False with the last error (ERROR_FILE_NOT_FOUND) when there is no such tool.
bool toolCommandLine(const char* fileName, ToolHome home, const std::string& arguments, std::string* commandLine);

}  // namespace zel
