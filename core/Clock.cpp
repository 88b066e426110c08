#include "core/Clock.h"

#include <chrono>
#include <ctime>

#include "core/TextFormat.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace zel {
namespace {
// Seconds between 1601-01-01 and 1970-01-01.
constexpr uint64_t kEpochDeltaSeconds = 11644473600ULL;
}

uint64_t nowMilliseconds() {
#ifdef _WIN32
    SYSTEMTIME local;
    GetLocalTime(&local);
    FILETIME file;
    SystemTimeToFileTime(&local, &file);
    ULARGE_INTEGER ticks;
    ticks.LowPart = file.dwLowDateTime;
    ticks.HighPart = file.dwHighDateTime;
    return ticks.QuadPart / 10000;
#else
    using namespace std::chrono;
    auto utcMs = duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
    std::time_t seconds = static_cast<std::time_t>(utcMs / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    return static_cast<uint64_t>(utcMs + local.tm_gmtoff * 1000) + kEpochDeltaSeconds * 1000;
#endif
}

double secondsSince(uint64_t startMilliseconds) {
    return static_cast<double>(nowMilliseconds() - startMilliseconds) / 1000.0;
}

// The stamp already holds local time, so it is broken down without a zone shift.
std::string timeStampText(uint64_t localMilliseconds) {
    std::time_t seconds = static_cast<std::time_t>(localMilliseconds / 1000 - kEpochDeltaSeconds);
    std::tm parts{};
#ifdef _WIN32
    gmtime_s(&parts, &seconds);
#else
    gmtime_r(&seconds, &parts);
#endif
    char buffer[80];
    std::strftime(buffer, sizeof(buffer), "%Y-%m-%d %H:%M:%S", &parts);
    return formatText("%s,%03u", buffer, static_cast<unsigned>(localMilliseconds % 1000));
}

}  // namespace zel
