#include "tests/support/ChildProcess.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <thread>

namespace zeltest {
namespace {

// The child's environment: ours plus the extra entries, as a double-NUL block.
std::string environmentBlock(const std::vector<std::string>& extra) {
    std::string block;
    char* current = GetEnvironmentStringsA();
    for (const char* p = current; *p; p += std::strlen(p) + 1) block.append(p).push_back('\0');
    FreeEnvironmentStringsA(current);
    for (const std::string& entry : extra) block.append(entry).push_back('\0');
    block.push_back('\0');
    return block;
}

std::string drain(HANDLE pipe) {
    std::string text;
    char buffer[4096];
    DWORD got = 0;
    while (ReadFile(pipe, buffer, sizeof(buffer), &got, nullptr) && got > 0) text.append(buffer, got);
    return text;
}

// Starts a program with stdout and stderr on `output`. Wine under load
// occasionally refuses a start; a retry tells that apart from a real fault,
// and the caller says why a start that never succeeds failed.
bool startChild(const std::string& exe, const std::string& arguments, const std::string& workDir,
                const std::vector<std::string>& environment, HANDLE output, HANDLE error,
                PROCESS_INFORMATION* process) {
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = output;
    startup.hStdError = error;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    std::string commandLine = "\"" + exe + "\" " + arguments;
    std::string env = environmentBlock(environment);
    for (int attempt = 0; attempt < 3; ++attempt) {
        if (attempt) Sleep(500);
        if (CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, env.data(),
                           workDir.empty() ? nullptr : workDir.c_str(), &startup, process))
            return true;
    }
    return false;
}

}  // namespace

std::string binaryFolder() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string full(path);
    return full.substr(0, full.find_last_of("\\/"));
}

namespace {

// A pipe whose read end the child does not inherit.
bool openPipe(HANDLE* read, HANDLE* write) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    if (!CreatePipe(read, write, &inherit, 0)) return false;
    SetHandleInformation(*read, HANDLE_FLAG_INHERIT, 0);
    return true;
}

// stderr on a pipe of its own, into errorOutput, when apart.
ChildResult runChild(const std::string& exe, const std::string& arguments, const std::string& workDir,
                     const std::vector<std::string>& environment, uint32_t timeoutMs, bool apart) {
    ChildResult result;
    HANDLE readEnd = nullptr, writeEnd = nullptr, errorRead = nullptr, errorWrite = nullptr;
    if (!openPipe(&readEnd, &writeEnd) || (apart && !openPipe(&errorRead, &errorWrite))) {
        result.output = "no pipe: error " + std::to_string(GetLastError());
        return result;
    }
    PROCESS_INFORMATION process{};
    const bool started =
        startChild(exe, arguments, workDir, environment, writeEnd, apart ? errorWrite : writeEnd, &process);
    if (!started)
        result.output = "could not start \"" + exe + "\" " + arguments + ": error " + std::to_string(GetLastError());
    CloseHandle(writeEnd);
    if (apart) CloseHandle(errorWrite);
    if (started) {
        // Read on threads so that a hung child ends at the time limit
        // instead of holding the suite until ctest's own limit.
        std::thread reader([&] { result.output = drain(readEnd); });
        std::thread errorReader([&] { result.errorOutput = apart ? drain(errorRead) : ""; });
        if (WaitForSingleObject(process.hProcess, timeoutMs) == WAIT_TIMEOUT)
            TerminateProcess(process.hProcess, kTimedOutExitCode);
        reader.join();
        errorReader.join();
        DWORD code = 0;
        if (GetExitCodeProcess(process.hProcess, &code)) result.exitCode = code;
        else result.output += "no exit code: error " + std::to_string(GetLastError());
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(readEnd);
    if (apart) CloseHandle(errorRead);
    return result;
}

}  // namespace

ChildResult runProgram(const std::string& exe, const std::string& arguments, const std::string& workDir,
                       const std::vector<std::string>& environment, uint32_t timeoutMs) {
    return runChild(exe, arguments, workDir, environment, timeoutMs, false);
}

ChildResult runZelCliStreamsApart(const std::string& arguments, const std::string& workDir,
                                  const std::vector<std::string>& environment, uint32_t timeoutMs) {
    return runChild(binaryFolder() + "\\ZelCli.exe", arguments, workDir, environment, timeoutMs, true);
}

ChildResult runZelCli(const std::string& arguments, const std::string& workDir,
                      const std::vector<std::string>& environment, uint32_t timeoutMs) {
    return runProgram(binaryFolder() + "\\ZelCli.exe", arguments, workDir, environment, timeoutMs);
}

// The output goes to the pipe and is dropped; a run that ends by itself
// never answers the time-out's exit code.
bool runZelCliKilledAfter(const std::string& arguments, const std::string& workDir,
                          const std::vector<std::string>& environment, uint32_t delayMs) {
    return runZelCli(arguments, workDir, environment, delayMs).exitCode == kTimedOutExitCode;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::string withoutCr(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

bool fileExists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

// Wine's ntdll exports its version; Windows' does not.
bool runningUnderWine() {
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

}  // namespace zeltest
