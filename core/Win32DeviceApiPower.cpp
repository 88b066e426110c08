// System power side of the Win32 seam: the calls that take the machine
// down or to sleep. Nothing here decides anything; the power layer does.
#include <windows.h>
#include <powrprof.h>

#include <cstdlib>

#include "core/Win32DeviceApi.h"

namespace zel {
namespace {

// Shutting down, restarting and suspending need the shutdown privilege in
// the process token; an elevated run holds it disabled.
bool enableShutdownPrivilege() {
    HANDLE token = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return false;
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    bool ok = LookupPrivilegeValueA(nullptr, SE_SHUTDOWN_NAME, &privileges.Privileges[0].Luid) &&
              AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr) &&
              GetLastError() == ERROR_SUCCESS;
    const DWORD error = GetLastError();
    CloseHandle(token);
    SetLastError(error);
    return ok;
}

}  // namespace

BOOL Win32DeviceApi::exitWindows(UINT flags, DWORD reason) {
    if (!enableShutdownPrivilege()) return FALSE;
    return ::ExitWindowsEx(flags, reason);
}

int Win32DeviceApi::runShutdownCommand(const char* commandLine) { return std::system(commandLine); }

BOOL Win32DeviceApi::setWakeTimer(uint32_t seconds) {
    if (!wakeTimer_) wakeTimer_ = ::CreateWaitableTimerA(nullptr, TRUE, nullptr);
    if (!wakeTimer_) return FALSE;
    LARGE_INTEGER due;
    due.QuadPart = -static_cast<LONGLONG>(seconds) * 10000000LL;  // relative, 100 ns units
    return ::SetWaitableTimer(wakeTimer_, &due, 0, nullptr, nullptr, TRUE);
}

BOOL Win32DeviceApi::setSuspendState(BOOL hibernate, BOOL force, BOOL wakeEventsDisabled) {
    if (!enableShutdownPrivilege()) return FALSE;
    return ::SetSuspendState(hibernate ? TRUE : FALSE, force ? TRUE : FALSE, wakeEventsDisabled ? TRUE : FALSE);
}

}  // namespace zel
