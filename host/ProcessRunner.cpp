#include "host/ProcessRunner.h"

#include "core/Clock.h"
#include "core/Logger.h"
#include "host/ChildWait.h"

namespace zel {
namespace {

// The child's end of the pipe is inherited; ours is not, so the pipe
// breaks when the child and its own children are gone.
bool createOutputPipe(HANDLE* readEnd, HANDLE* writeEnd) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    if (!CreatePipe(readEnd, writeEnd, &inherit, 0)) return false;
    SetHandleInformation(*readEnd, HANDLE_FLAG_INHERIT, 0);
    return true;
}

// Creates the child in a new process group with inherited handles;
// writeEnd (or null) becomes its standard output and error.
bool createChild(const std::string& commandLine, HANDLE writeEnd, bool showWindow, PROCESS_INFORMATION* child) {
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESHOWWINDOW;
    startup.wShowWindow = showWindow ? SW_SHOWNORMAL : SW_HIDE;
    if (writeEnd) {
        startup.dwFlags |= STARTF_USESTDHANDLES;
        startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
        startup.hStdOutput = writeEnd;
        startup.hStdError = writeEnd;
    }
    std::string line = commandLine;
    logDebug("ProcUtil::runAsync()...%s", commandLine.c_str());
    return CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NEW_PROCESS_GROUP, nullptr, nullptr,
                          &startup, child) != FALSE;
}

class PipeChannel : public ChildChannel {
public:
    PipeChannel(HANDLE process, HANDLE readEnd) : process_(process), readEnd_(readEnd) {}

    uint32_t available() override {
        DWORD waiting = 0;
        if (!readEnd_ || !PeekNamedPipe(readEnd_, nullptr, 0, nullptr, &waiting, nullptr)) return 0;
        return waiting;
    }
    std::string read(uint32_t size) override {
        std::string chunk(size, '\0');
        DWORD got = 0;
        if (!ReadFile(readEnd_, chunk.data(), size, &got, nullptr)) got = 0;
        chunk.resize(got);
        return chunk;
    }
    ErrorCode exitCode(uint32_t* code) override {
        DWORD value = 0;
        if (!GetExitCodeProcess(process_, &value)) return takeSystemLastError();
        *code = value;
        return 0;
    }

private:
    HANDLE process_;
    HANDLE readEnd_;
};

void closeHandle(HANDLE* handle) {
    if (*handle) CloseHandle(*handle);
    *handle = nullptr;
}

}  // namespace

ProcessRunner::~ProcessRunner() { close(); }

void ProcessRunner::close() {
    closeHandle(&process_);
    closeHandle(&readEnd_);
}

bool ProcessRunner::start(const RunRequest& request) {
    close();
    processId_ = 0;
    HANDLE writeEnd = nullptr;
    if (request.captureOutput && !createOutputPipe(&readEnd_, &writeEnd)) {
        takeSystemLastError();
        return false;
    }
    PROCESS_INFORMATION child{};
    const bool created = createChild(request.commandLine, writeEnd, request.showWindow, &child);
    const ErrorCode error = created ? 0 : GetLastError();
    closeHandle(&writeEnd);
    if (!created) {
        closeHandle(&readEnd_);
        setLastError(error);
        return false;
    }
    CloseHandle(child.hThread);
    process_ = child.hProcess;
    processId_ = child.dwProcessId;
    return true;
}

ErrorCode ProcessRunner::wait(double timeoutSeconds, std::string* output) {
    PipeChannel channel(process_, readEnd_);
    const ChildWaitResult result = waitForChild(channel, timeoutSeconds, output, nowMilliseconds);
    elapsedSeconds_ = result.elapsedSeconds;
    return result.code;
}

bool ProcessRunner::run(const RunRequest& request, RunResult* result) {
    result->output.clear();
    result->elapsedSeconds = 0;
    if (!start(request)) {
        result->code = lastError();
        return false;
    }
    result->code = wait(request.timeoutSeconds, &result->output);
    result->elapsedSeconds = elapsedSeconds_;
    return result->code == 0;
}

namespace {

std::string readChunk(ChildChannel& channel) {
    const uint32_t waiting = channel.available();
    return waiting ? channel.read(waiting < kPipeChunk ? waiting : kPipeChunk) : std::string();
}

int runCaptured(const std::string& commandLine, std::string* output) {
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!createOutputPipe(&readEnd, &writeEnd)) return static_cast<int>(takeSystemLastError());
    PROCESS_INFORMATION child{};
    const bool created = createChild(commandLine, writeEnd, false, &child);
    const ErrorCode error = created ? 0 : GetLastError();
    closeHandle(&writeEnd);
    if (!created) {
        closeHandle(&readEnd);
        setLastError(error);
        return static_cast<int>(error);
    }
    PipeChannel channel(child.hProcess, readEnd);
    std::string text;
    uint32_t code = kStillActive;
    bool known = true;
    do {
        WaitForSingleObject(child.hProcess, 1);
        text += readChunk(channel);
        known = channel.exitCode(&code) == 0;
    } while (known && code == kStillActive);
    text += readChunk(channel);
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    closeHandle(&readEnd);
    if (output) *output += text;
    return known ? static_cast<int>(code) : -1;
}

int runShown(const std::string& command, const std::string& commandLine, double timeoutSeconds) {
    PROCESS_INFORMATION child{};
    if (!createChild(commandLine, nullptr, true, &child)) return static_cast<int>(takeSystemLastError());
    const DWORD waited = WaitForSingleObject(child.hProcess, static_cast<DWORD>(timeoutSeconds * 1000));
    const ErrorCode error = waited == WAIT_FAILED ? GetLastError() : 0;
    CloseHandle(child.hThread);
    CloseHandle(child.hProcess);
    if (waited == WAIT_TIMEOUT) {
        // Kept as built: the child is left running, the caller sees 258.
        logWarning("Run %s, exceed timeout %.2f", command.c_str(), timeoutSeconds);
        return WAIT_TIMEOUT;
    }
    if (waited == WAIT_FAILED) {
        setLastError(error);
        return static_cast<int>(error);
    }
    // Ended in time: its exit code is deliberately not read.
    return 0;
}

}  // namespace

int runAsync(const std::string& command, const std::string& arguments, double timeoutSeconds,
             std::string* output) {
    const std::string commandLine = arguments.empty() ? command : command + " " + arguments;
    if (timeoutSeconds == 0) return runCaptured(commandLine, output);
    return runShown(command, commandLine, timeoutSeconds);
}

}  // namespace zel
