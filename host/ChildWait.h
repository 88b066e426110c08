#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "core/ErrorCodes.h"

namespace zel {

// Pipe reads take at most this many bytes at a time.
constexpr uint32_t kPipeChunk = 4095;
// GetExitCodeProcess's answer while the child runs.
constexpr uint32_t kStillActive = 259;

// A started child as the wait loop sees it.
class ChildChannel {
public:
    virtual ~ChildChannel() = default;
    // Bytes waiting in its output pipe; 0 when output is not captured.
    virtual uint32_t available() = 0;
    // Up to size bytes of what available() reported.
    virtual std::string read(uint32_t size) = 0;
    // 0 with the exit code (kStillActive while it runs), else the system error.
    virtual ErrorCode exitCode(uint32_t* code) = 0;
};

struct ChildWaitResult {
    ErrorCode code = 0;  // exit code, 0x20000018 on time-out, or a system error
    double elapsedSeconds = 0;
};

// Polls the child without sleeping until it ends or the time-out (seconds,
// 0 for none) passes, appending its output; then reads the pipe once more.
// A child that times out is left running. nowMs: wall-clock milliseconds.
ChildWaitResult waitForChild(ChildChannel& child, double timeoutSeconds, std::string* output,
                             const std::function<uint64_t()>& nowMs);

}  // namespace zel
