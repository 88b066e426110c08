#include "disk/RetryTask.h"

#include <windows.h>

#include "core/Clock.h"
#include "core/ErrorCodes.h"

namespace zel {
namespace {

// How long to wait for a terminated attempt to be gone, so that it no
// longer touches the task when the runner returns.
constexpr DWORD kTerminationWaitMs = 1000;

DWORD WINAPI runAttempt(void* parameter) {
    const RetryTask& task = *static_cast<const RetryTask*>(parameter);
    return task.function(task.argument);
}

void sleepSeconds(double seconds) {
    if (seconds != 0) Sleep(static_cast<DWORD>(seconds * 1000));
}

DWORD waitMilliseconds(double seconds) {
    return seconds == 0 ? INFINITE : static_cast<DWORD>(seconds * 1000);
}

bool pastLimit(const RetryTask& task, uint64_t startMs) {
    return task.timeLimit != 0 && secondsSince(startMs) > task.timeLimit;
}

bool counts(const RetryTask& task, DWORD exitCode) {
    return task.successIsZero ? exitCode == 0 : exitCode != 0;
}

// The verdict on one finished attempt, or -1 to go on.
int judge(const RetryTask& task, DWORD exitCode, uint64_t startMs) {
    if (exitCode == retry::kAttemptHardFailure) return static_cast<int>(retry::kHardFailure);
    if (exitCode != retry::kAttemptNotFinal && counts(task, exitCode)) return static_cast<int>(retry::kSuccess);
    if (pastLimit(task, startMs)) return static_cast<int>(retry::kTimeLimitExceeded);
    return -1;
}

void terminate(const RetryTask& task, HANDLE thread) {
    if (task.onTimeout) task.onTimeout(0);
    TerminateThread(thread, err::kThreadTimeout);
    WaitForSingleObject(thread, kTerminationWaitMs);
}

}  // namespace

uint32_t runRetryTask(RetryTask& task) {
    sleepSeconds(task.initialDelay);
    const uint64_t startMs = nowMilliseconds();
    // Only the last attempt's thread handle is closed; the earlier ones stay
    // open until the process ends, as the tool has always done.
    HANDLE lastThread = nullptr;
    int result = -1;
    while (result < 0) {
        if (task.maxAttempts != 0 && task.attempts == task.maxAttempts) {
            result = static_cast<int>(retry::kAttemptsExhausted);
            break;
        }
        if (pastLimit(task, startMs)) {
            result = static_cast<int>(retry::kTimeLimitExceeded);
            break;
        }
        if (HANDLE thread = CreateThread(nullptr, 0, runAttempt, &task, 0, nullptr)) {
            lastThread = thread;
            ++task.attempts;
            if (WaitForSingleObject(thread, waitMilliseconds(task.attemptTimeout)) == WAIT_OBJECT_0) {
                DWORD exitCode = 0;
                GetExitCodeThread(thread, &exitCode);
                result = judge(task, exitCode, startMs);
                if (result >= 0) break;
            } else {
                terminate(task, thread);
            }
        }
        sleepSeconds(task.interval);
    }
    if (lastThread) CloseHandle(lastThread);
    if (result == static_cast<int>(retry::kSuccess)) sleepSeconds(task.finalDelay);
    return static_cast<uint32_t>(result);
}

}  // namespace zel
