#pragma once

#include <string>

namespace zel {

struct OsInfo {
    std::string systemRoot;
    std::string productName;
    int releaseId = 0;
    int majorVersion = 0;
    int minorVersion = 0;
    int buildNumber = 0;
    std::string type;  // "x64" or "Win32"
};

enum ProcessorType { kProcessorUnknown = 0, kProcessorIntel = 1, kProcessorAmd = 2 };

// Board and firmware texts are cut to their 64-character fields; a value
// that cannot be read leaves its field empty.
struct PlatformInfo {
    char baseBoardManufacturer[64] = {};
    char baseBoardProduct[64] = {};
    char baseBoardVersion[64] = {};
    char biosReleaseDate[64] = {};
    char biosVendor[64] = {};
    char biosVersion[64] = {};
    int processorType = kProcessorUnknown;
};

// Intel or AMD from the processor name, compared in upper case.
int processorTypeFromName(const std::string& name);

}  // namespace zel
