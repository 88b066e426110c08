#include "host/DiskpartWrapper.h"

#include <cstdio>

#include "core/Logger.h"
#include "core/TextFormat.h"
#include "disk/DiskBase.h"
#include "host/HostToolSettings.h"
#include "host/ProcessRunner.h"
#include "host/ToolCommand.h"

namespace zel {
namespace {

bool writeScript(const char* fileName, const std::vector<std::string>& lines) {
    FILE* file = std::fopen(fileName, "w");
    if (!file) return false;
    bool ok = true;
    for (const std::string& line : lines) ok = std::fprintf(file, "%s\n", line.c_str()) >= 0 && ok;
    return std::fclose(file) == 0 && ok;
}

}  // namespace

bool DiskpartWrapper::runScript(const char* fileName, const std::vector<std::string>& lines, double timeoutSeconds,
                                RunResult* result) {
    RunRequest request;
    request.timeoutSeconds = timeoutSeconds;
    request.captureOutput = true;
    if (!writeScript(fileName, lines)) {
        result->code = takeSystemLastError();
        return false;
    }
    bool ok = false;
    if (toolCommandLine(toolfile::kDiskpart, ToolHome::System, std::string("/s ") + fileName, &request.commandLine))
        ok = ProcessRunner().run(request, result);
    else
        result->code = lastError();
    std::remove(fileName);
    return ok;
}

bool DiskpartWrapper::clean(int diskNumber, double timeoutSeconds) {
    RunResult result;
    const std::vector<std::string> lines = {formatText("select disk %d", diskNumber), "clean", "exit"};
    if (runScript("diskpart_clean.txt", lines, timeoutSeconds, &result)) {
        logInfo("clean disk done, elapsed time: %.2f", result.elapsedSeconds);
        return true;
    }
    logWarning("clean disk error code: %.d", static_cast<int>(result.code));
    return false;
}

// Decimal error code for clean, hexadecimal for format: scripts read both as they are.
bool DiskpartWrapper::format(int diskNumber, char letter, double timeoutSeconds) {
    RunResult result;
    const std::vector<std::string> lines = {formatText("select disk %d", diskNumber),
                                            "clean",
                                            "create partition primary",
                                            "format fs=ntfs quick",
                                            formatText("assign letter=%c", letter),
                                            "exit"};
    if (runScript("diskpart_format.txt", lines, timeoutSeconds, &result)) {
        logInfo("format disk done, elapsed time: %.2f", result.elapsedSeconds);
        return true;
    }
    logWarning("format disk error code: 0x%X", result.code);
    return false;
}

char DiskpartWrapper::letterFor(const DiskBase* disk) {
    if (disk && !disk->driveLetters().empty()) return disk->driveLetters().front().letter;
    const DWORD used = deviceApi().getLogicalDrives();
    for (char letter = 'D'; letter <= 'Z'; ++letter)
        if (!(used & (1u << (letter - 'A')))) return letter;
    return 'Z';
}

}  // namespace zel
