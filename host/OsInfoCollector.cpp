#include "host/OsInfoCollector.h"

#include <windows.h>

#include <cstdlib>

#include "core/Logger.h"
#include "core/WinReg.h"

namespace zel {
namespace {

const char kVersionKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

// A 32-bit process on 64-bit Windows runs under WOW64.
bool isWindows64() {
#if defined(_WIN64)
    return true;
#else
    BOOL wow64 = FALSE;
    return IsWow64Process(GetCurrentProcess(), &wow64) && wow64;
#endif
}

int textNumber(const std::string& name) {
    return std::atoi(WinReg::readText(kVersionKey, name, "0").c_str());
}

}  // namespace

bool OsInfoCollector::collect() {
    auto root = WinReg::readText(kVersionKey, "SystemRoot");
    info_.systemRoot = root.value_or("");
    info_.productName = WinReg::readText(kVersionKey, "ProductName", "");
    info_.majorVersion = static_cast<int>(WinReg::readDword(kVersionKey, "CurrentMajorVersionNumber").value_or(0));
    info_.minorVersion = static_cast<int>(WinReg::readDword(kVersionKey, "CurrentMinorVersionNumber").value_or(0));
    info_.buildNumber = textNumber("CurrentBuildNumber");
    info_.releaseId = textNumber("ReleaseId");
    info_.type = isWindows64() ? "x64" : "Win32";
    return root.has_value();
}

void OsInfoCollector::print() const {
    logInfo("***** OS Information *****");
    logInfo("  SystemRoot: %s", info_.systemRoot.c_str());
    logInfo("  ProductName: %s", info_.productName.c_str());
    logInfo("  ReleaseId: %d", info_.releaseId);
    logInfo("  MajorVersion: %d", info_.majorVersion);
    logInfo("  MinorVersion: %d", info_.minorVersion);
    logInfo("  BuildNumber: %d", info_.buildNumber);
    logInfo("  Type: %s", info_.type.c_str());
}

}  // namespace zel
