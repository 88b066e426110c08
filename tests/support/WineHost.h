#pragma once

#include <windows.h>

namespace zeltest {

// Wine's ntdll exports its version; Windows' does not.
inline bool runningUnderWine() {
    HMODULE ntdll = GetModuleHandleA("ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version") != nullptr;
}

}  // namespace zeltest
