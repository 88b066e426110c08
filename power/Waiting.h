#pragma once

#include <windows.h>

#include "disk/DiskProbe.h"

namespace zel {

// How often a wait for a disk to go or come back looks again.
constexpr DWORD kDiskPollMs = 200;

inline void sleepSeconds(double seconds) {
    if (seconds > 0) Sleep(static_cast<DWORD>(seconds * 1000));
}

// Until the condition holds or the limit passes (0: no limit).
template <typename Condition>
bool waitFor(double limitSeconds, Condition condition) {
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        if (condition()) return true;
        if (limitSeconds > 0 && (GetTickCount64() - start) / 1000.0 >= limitSeconds) return false;
        Sleep(kDiskPollMs);
    }
}

// Until disk number is no longer on the host, or the limit passes.
inline bool waitUntilDiskGone(int number, double limitSeconds) {
    return waitFor(limitSeconds, [number] { return !probeDisk(number).has_value(); });
}

}  // namespace zel
