#pragma once

#include <windows.h>

#include <string>

#include "core/ErrorCodes.h"
#include "core/Uncopyable.h"
#include "host/RunRequest.h"

namespace zel {

// Runs one child process and waits for it with a time-out. A child that
// outlives its time-out keeps running; ending it is the caller's choice
// (terminateChildProcesses).
class ProcessRunner : private Uncopyable {
public:
    ProcessRunner() = default;
    ~ProcessRunner();

    // False with the process-wide last error when the pipe or the process
    // cannot be created.
    bool start(const RunRequest& request);
    // Busy-polls the child; appends its output. Returns the result code.
    ErrorCode wait(double timeoutSeconds, std::string* output);
    // start + wait; true when the child ended with exit code 0.
    bool run(const RunRequest& request, RunResult* result);

    DWORD processId() const { return processId_; }

private:
    void close();

    HANDLE process_ = nullptr;
    HANDLE readEnd_ = nullptr;
    DWORD processId_ = 0;
    double elapsedSeconds_ = 0;
};

// The second entry, self-contained. Time-out 0: output captured, window
// hidden, waits for the end and returns the exit code (-1 when it cannot be
// read). Time-out above 0: nothing captured, window shown, one wait; 258
// (WAIT_TIMEOUT) when the child outlives it, which is left running, and 0
// when it ended in time, whatever its exit code. A child that cannot be
// started returns the system error.
int runAsync(const std::string& command, const std::string& arguments, double timeoutSeconds,
             std::string* output);

}  // namespace zel
