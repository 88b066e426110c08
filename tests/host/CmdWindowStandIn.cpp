// Built as "cmd.exe": owns two top-level windows, sets the close button of
// command prompts as its arguments say ("enable", "disable"), and after each
// step prints the close item of both windows as "<window> <state>", the
// window being "last" (the one enumerated last) or "other", the state
// "missing", "grayed" or "enabled". Both items start grayed. Windows lets
// any process edit another's system menu, Wine only the owner's, so the
// prompt here is the process itself. The thread's own IME window is a
// top-level window too; both windows go below it, as a console window has
// none.
#include <windows.h>

#include <cstdio>
#include <cstring>

#include "host/ConsoleCloseButton.h"

namespace {

HWND gWindows[2];
HWND gLast;

BOOL CALLBACK noteLast(HWND window, LPARAM) {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    if (owner == GetCurrentProcessId()) gLast = window;
    return TRUE;
}

const char* closeItemState(HWND window) {
    const UINT state = GetMenuState(GetSystemMenu(window, FALSE), SC_CLOSE, MF_BYCOMMAND);
    if (state == static_cast<UINT>(-1)) return "missing";
    return (state & MF_GRAYED) ? "grayed" : "enabled";
}

void printStates() {
    const HWND other = gWindows[0] == gLast ? gWindows[1] : gWindows[0];
    std::printf("last %s\nother %s\n", closeItemState(gLast), closeItemState(other));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    for (HWND& window : gWindows) {
        window = CreateWindowExA(0, "STATIC", "prompt", WS_OVERLAPPEDWINDOW, 0, 0, 200, 100, nullptr, nullptr,
                                 GetModuleHandleA(nullptr), nullptr);
        EnableMenuItem(GetSystemMenu(window, FALSE), SC_CLOSE, MF_BYCOMMAND | MF_GRAYED);
        SetWindowPos(window, HWND_BOTTOM, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE);
    }
    EnumWindows(noteLast, 0);
    if (!gWindows[0] || !gWindows[1] || (gLast != gWindows[0] && gLast != gWindows[1])) return 2;
    for (int i = 1; i < argc; ++i) {
        zel::setConsoleCloseButton(std::strcmp(argv[i], "enable") == 0);
        printStates();
    }
    return 0;
}
