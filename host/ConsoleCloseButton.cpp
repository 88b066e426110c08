#include "host/ConsoleCloseButton.h"

#include <windows.h>
// tlhelp32.h needs the definitions of windows.h first.
#include <tlhelp32.h>

#include "host/CommandPrompts.h"

namespace zel {
namespace {

std::vector<ProcessEntry> runningProcesses() {
    std::vector<ProcessEntry> processes;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return processes;
    PROCESSENTRY32 entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32First(snapshot, &entry); more; more = Process32Next(snapshot, &entry))
        processes.push_back({entry.th32ProcessID, entry.szExeFile});
    CloseHandle(snapshot);
    return processes;
}

struct WindowSearch {
    DWORD processId;
    HWND found;
};

BOOL CALLBACK matchWindow(HWND window, LPARAM param) {
    WindowSearch* search = reinterpret_cast<WindowSearch*>(param);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == search->processId) search->found = window;
    return TRUE;
}

// The last top-level window of the process in enumeration order.
HWND processWindow(DWORD processId) {
    WindowSearch search{processId, nullptr};
    EnumWindows(matchWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

}  // namespace

void setConsoleCloseButton(bool enable) {
    for (uint32_t id : commandPromptIds(runningProcesses())) {
        HWND window = processWindow(id);
        HMENU menu = window ? GetSystemMenu(window, FALSE) : nullptr;
        if (!menu) continue;
        // Kept as built: QuickEdit is not touched, and enabling cannot bring
        // back a close item that disabling deleted.
        if (enable)
            EnableMenuItem(menu, SC_CLOSE, MF_BYCOMMAND | MF_ENABLED);
        else
            DeleteMenu(menu, SC_CLOSE, MF_BYCOMMAND);
    }
}

}  // namespace zel
