#include "host/CrashDumpName.h"

#include <cstdio>

namespace zel {

std::string crashDumpFileName(const std::string& executablePath, const DumpTime& time) {
    const size_t cut = executablePath.rfind('\\');
    const std::string folder = cut == std::string::npos ? std::string() : executablePath.substr(0, cut);
    char name[1024];
    std::snprintf(name, sizeof(name), "%s\\%s__%4d%02d%02d_%02d%02d%02d.dmp", folder.c_str(), "ZelCliCrashDump",
                  time.year, time.month, time.day, time.hour, time.minute, time.second);
    return name;
}

}  // namespace zel
