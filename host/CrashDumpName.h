#pragma once

#include <string>

namespace zel {

struct DumpTime {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

// The dump lands beside the executable: its path up to the last "\" (none:
// an empty folder), then "ZelCliCrashDump__YYYYMMDD_HHMMSS.dmp"; the name
// is cut to 1023 characters.
std::string crashDumpFileName(const std::string& executablePath, const DumpTime& time);

}  // namespace zel
