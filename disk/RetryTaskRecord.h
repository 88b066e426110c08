#pragma once

#include <cstdint>

namespace zel {

// One retried call, filled by the caller and updated by the runner. Each
// attempt runs on a thread of its own so that a hung one (a register access
// that never comes back) can be cut off without hanging the tool. Times are
// seconds; 0 means no wait or no limit.
struct RetryTask {
    uint32_t (*function)(void* argument) = nullptr;  // one attempt; its result is the thread's exit code
    void* argument = nullptr;
    uint8_t successIsZero = 1;  // 1: an attempt succeeds with 0; 0: with anything but 0
    double initialDelay = 0;    // once, before the first attempt
    double finalDelay = 0;      // once, after a successful end
    double interval = 0;        // after every attempt that did not end the run
    double timeLimit = 0;       // for the whole run, from its start
    double attemptTimeout = 0;  // for one attempt; 0 waits forever
    uint32_t maxAttempts = 0;   // 0: unlimited
    void (*onTimeout)(int) = nullptr;  // called with 0 when an attempt times out
    uint32_t attempts = 0;      // attempts started so far
};

namespace retry {
// What runRetryTask answers.
constexpr uint32_t kSuccess = 0;
constexpr uint32_t kHardFailure = 1;       // an attempt returned kAttemptHardFailure
constexpr uint32_t kAttemptsExhausted = 2;  // maxAttempts reached
constexpr uint32_t kTimeLimitExceeded = 3;
// Attempt results with a meaning of their own, whatever successIsZero says.
constexpr uint32_t kAttemptHardFailure = 2;  // not retried
constexpr uint32_t kAttemptNotFinal = 3;     // never ends the run
}  // namespace retry

}  // namespace zel
