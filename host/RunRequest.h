#pragma once

#include <string>

#include "core/ErrorCodes.h"

namespace zel {

// What a child process run is asked for and what it gave back.
struct RunRequest {
    std::string commandLine;    // the whole line, program first
    double timeoutSeconds = 0;  // 0: no limit
    bool captureOutput = false;  // standard output and error into one pipe
    bool showWindow = false;
};

struct RunResult {
    ErrorCode code = 0;  // exit code, 0x20000018 on time-out, or a system error
    std::string output;
    double elapsedSeconds = 0;
};

}  // namespace zel
