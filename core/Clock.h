#pragma once

#include <cstdint>
#include <string>

namespace zel {

// Local time as a Windows file time, in milliseconds since 1601-01-01.
uint64_t nowMilliseconds();

// (now - start) / 1000.0, for elapsed times logged with "%.2f".
double secondsSince(uint64_t startMilliseconds);

// "YYYY-MM-DD HH:MM:SS,mmm" for a local-time millisecond stamp.
std::string timeStampText(uint64_t localMilliseconds);

}  // namespace zel
