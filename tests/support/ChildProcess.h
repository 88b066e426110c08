#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace zeltest {

struct ChildResult {
    uint32_t exitCode = 0xFFFFFFFF;  // the full 32-bit Windows exit code
    std::string output;              // stdout, and stderr unless read apart
    std::string errorOutput;         // stderr when read apart
};

// Folder of the running test binary; ZelCli.exe is built beside it.
std::string binaryFolder();

// The exit code of a child ended at its time limit.
constexpr uint32_t kTimedOutExitCode = 0xDEAD0001;

// Runs a program with a command-line tail, in a working folder, with extra
// environment entries ("NAME=value"), and waits for it; a child still
// running after timeoutMs is ended with kTimedOutExitCode.
ChildResult runProgram(const std::string& exe, const std::string& arguments, const std::string& workDir = "",
                       const std::vector<std::string>& environment = {}, uint32_t timeoutMs = 60000);

// Runs ZelCli.exe from the binary folder.
ChildResult runZelCli(const std::string& arguments, const std::string& workDir = "",
                      const std::vector<std::string>& environment = {}, uint32_t timeoutMs = 60000);

// Runs ZelCli.exe like runZelCli, with stdout in output and stderr in errorOutput.
ChildResult runZelCliStreamsApart(const std::string& arguments, const std::string& workDir = "",
                                  const std::vector<std::string>& environment = {}, uint32_t timeoutMs = 60000);

// Runs ZelCli.exe like runZelCli, output discarded, and ends it with
// TerminateProcess after delayMs unless it ended first; true when killed.
bool runZelCliKilledAfter(const std::string& arguments, const std::string& workDir,
                          const std::vector<std::string>& environment, uint32_t delayMs);

std::string readFile(const std::string& path);
bool fileExists(const std::string& path);
bool runningUnderWine();

inline bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }
// Text files the tool writes end lines "\r\n"; expectations use "\n".
std::string withoutCr(std::string text);

}  // namespace zeltest
