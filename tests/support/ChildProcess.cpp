#include "tests/support/ChildProcess.h"

#include <windows.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
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

}  // namespace

std::string binaryFolder() {
    char path[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, path, MAX_PATH);
    std::string full(path);
    return full.substr(0, full.find_last_of("\\/"));
}

ChildResult runProgram(const std::string& exe, const std::string& arguments, const std::string& workDir,
                       const std::vector<std::string>& environment, uint32_t timeoutMs) {
    ChildResult result;
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    if (!CreatePipe(&readEnd, &writeEnd, &inherit, 0)) {
        result.output = "no pipe: error " + std::to_string(GetLastError());
        return result;
    }
    SetHandleInformation(readEnd, HANDLE_FLAG_INHERIT, 0);

    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = writeEnd;
    startup.hStdError = writeEnd;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    PROCESS_INFORMATION process{};
    std::string commandLine = "\"" + exe + "\" " + arguments;
    std::string env = environmentBlock(environment);
    // Wine under load occasionally refuses a start; a retry tells that apart
    // from a real fault, and a start that never succeeds says why.
    BOOL started = FALSE;
    for (int attempt = 0; attempt < 3 && !started; ++attempt) {
        if (attempt) Sleep(500);
        started = CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, env.data(),
                                 workDir.empty() ? nullptr : workDir.c_str(), &startup, &process);
    }
    if (!started) result.output = "could not start " + commandLine + ": error " + std::to_string(GetLastError());
    CloseHandle(writeEnd);
    if (started) {
        // Read on a thread so that a hung child ends at the time limit
        // instead of holding the suite until ctest's own limit.
        std::thread reader([&] { result.output = drain(readEnd); });
        if (WaitForSingleObject(process.hProcess, timeoutMs) == WAIT_TIMEOUT)
            TerminateProcess(process.hProcess, kTimedOutExitCode);
        reader.join();
        DWORD code = 0;
        if (GetExitCodeProcess(process.hProcess, &code)) result.exitCode = code;
        else result.output += "no exit code: error " + std::to_string(GetLastError());
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(readEnd);
    return result;
}

ChildResult runZelCli(const std::string& arguments, const std::string& workDir,
                      const std::vector<std::string>& environment) {
    return runProgram(binaryFolder() + "\\ZelCli.exe", arguments, workDir, environment);
}

bool runZelCliKilledAfter(const std::string& arguments, const std::string& workDir,
                          const std::vector<std::string>& environment, uint32_t delayMs) {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE sink = CreateFileA("NUL", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit, OPEN_EXISTING, 0,
                              nullptr);
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = sink;
    startup.hStdError = sink;
    startup.hStdInput = GetStdHandle(STD_INPUT_HANDLE);
    PROCESS_INFORMATION process{};
    std::string commandLine = "\"" + binaryFolder() + "\\ZelCli.exe\" " + arguments;
    std::string env = environmentBlock(environment);
    bool killed = false;
    if (CreateProcessA(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, env.data(),
                       workDir.empty() ? nullptr : workDir.c_str(), &startup, &process)) {
        if (WaitForSingleObject(process.hProcess, delayMs) == WAIT_TIMEOUT) {
            killed = TerminateProcess(process.hProcess, kTimedOutExitCode) != FALSE;
            WaitForSingleObject(process.hProcess, INFINITE);
        }
        CloseHandle(process.hThread);
        CloseHandle(process.hProcess);
    }
    CloseHandle(sink);
    return killed;
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string withoutCr(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
    return text;
}

bool fileExists(const std::string& path) { return GetFileAttributesA(path.c_str()) != INVALID_FILE_ATTRIBUTES; }

}  // namespace zeltest
