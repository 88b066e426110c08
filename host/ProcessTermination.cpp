#include "host/ProcessTermination.h"

#include <windows.h>
#include <tlhelp32.h>

#include "core/ErrorCodes.h"
#include "core/Logger.h"

namespace zel {

int terminateChildProcesses(const std::string& imageName) {
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return 0;
    const DWORD self = GetCurrentProcessId();
    int ended = 0;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry)) {
        if (entry.th32ParentProcessID != self || _stricmp(entry.szExeFile, imageName.c_str()) != 0) continue;
        HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, entry.th32ProcessID);
        if (!process) continue;
        if (TerminateProcess(process, err::kSubprocessTimeout)) {
            logDebug("Terminated %s (pid %lu)", entry.szExeFile, static_cast<unsigned long>(entry.th32ProcessID));
            ++ended;
        }
        CloseHandle(process);
    }
    CloseHandle(snapshot);
    return ended;
}

}  // namespace zel
