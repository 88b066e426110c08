#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
#include <tuple>
#include <utility>
#include <vector>

#include "disk/RetryTask.h"

namespace {

// Scripted attempts: each call returns the next code; a code of kHang
// blocks far beyond any attempt time-out.
constexpr uint32_t kHang = 0xFFFFFFFF;
// Attempts run one at a time, so the script needs no lock.
struct Script {
    std::vector<uint32_t> codes;
    std::atomic<size_t> calls{0};
    std::vector<HANDLE> threads;  // our own handles of the attempts' threads

    explicit Script(std::vector<uint32_t> sequence) : codes(std::move(sequence)) {}
    ~Script() {
        for (HANDLE thread : threads) CloseHandle(thread);
    }
};

uint32_t scripted(void* argument) {
    auto* script = static_cast<Script*>(argument);
    const size_t call = script->calls++;
    script->threads.push_back(OpenThread(THREAD_QUERY_LIMITED_INFORMATION, FALSE, GetCurrentThreadId()));
    const uint32_t code = script->codes[std::min(call, script->codes.size() - 1)];
    if (code == kHang) Sleep(60000);
    return code;
}

zel::RetryTask taskFor(Script& script) {
    zel::RetryTask task;
    task.function = scripted;
    task.argument = &script;
    task.maxAttempts = 10;
    return task;
}

std::atomic<int> timeoutCalls{0};
std::atomic<int> timeoutArgument{-1};

}  // namespace

TEST(RetryTask, ResultsByAttemptCode) {
    // What is shown, the attempts' codes, whether zero is success, the result and the attempts made.
    const std::tuple<const char*, std::vector<uint32_t>, uint8_t, uint32_t, uint32_t> cases[] = {
        {"zero succeeds", {1, 1, 0}, 1, zel::retry::kSuccess, 3},
        {"2 is a hard failure, not retried", {1, 2, 0}, 1, zel::retry::kHardFailure, 2},
        {"non-zero succeeds when asked", {0, 0, 7}, 0, zel::retry::kSuccess, 3},
        {"2 stays a hard failure when non-zero succeeds", {0, 2}, 0, zel::retry::kHardFailure, 2},
        {"3 never ends the run, even as non-zero", {3, 3, 0, 5}, 0, zel::retry::kSuccess, 4},
        {"exhaustion", {1}, 1, zel::retry::kAttemptsExhausted, 10},
    };
    for (const auto& [name, codes, successIsZero, result, attempts] : cases) {
        Script script{codes};
        zel::RetryTask task = taskFor(script);
        task.successIsZero = successIsZero;
        EXPECT_EQ(zel::runRetryTask(task), result) << name;
        EXPECT_EQ(task.attempts, attempts) << name;
        EXPECT_EQ(script.calls.load(), attempts) << name;
    }
}

TEST(RetryTask, TimeLimitEndsTheRunAfterAnAttempt) {
    Script script{{1}};
    zel::RetryTask task = taskFor(script);
    task.maxAttempts = 0;
    task.interval = 0.05;
    task.timeLimit = 0.2;
    EXPECT_EQ(zel::runRetryTask(task), zel::retry::kTimeLimitExceeded);
    EXPECT_GE(task.attempts, 1u);
    EXPECT_EQ(script.calls.load(), task.attempts);
}

// A hung attempt is cut off, reported through onTimeout and left with the
// thread-timeout code; the next attempt starts after the interval.
TEST(RetryTask, HungAttemptIsTerminatedAndCounted) {
    Script script{{kHang, 0}};
    zel::RetryTask task = taskFor(script);
    task.attemptTimeout = 0.3;
    task.interval = 0.1;
    task.onTimeout = [](int value) {
        ++timeoutCalls;
        timeoutArgument = value;
    };
    timeoutCalls = 0;
    EXPECT_EQ(zel::runRetryTask(task), zel::retry::kSuccess);
    EXPECT_EQ(task.attempts, 2u);
    EXPECT_EQ(timeoutCalls.load(), 1);
    EXPECT_EQ(timeoutArgument.load(), 0);
    ASSERT_EQ(script.threads.size(), 2u);
    auto exitCodeOf = [](HANDLE thread) {
        DWORD code = 0;
        return GetExitCodeThread(thread, &code) ? code : ~0ul;
    };
    EXPECT_EQ(exitCodeOf(script.threads[0]), 0x20000019u);
    EXPECT_EQ(exitCodeOf(script.threads[1]), 0u);
}
