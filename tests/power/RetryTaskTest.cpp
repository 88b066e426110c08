#include <gtest/gtest.h>

#include <windows.h>

#include <atomic>
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

    ~Script() {
        for (HANDLE thread : threads) CloseHandle(thread);
    }
};

uint32_t scripted(void* argument) {
    auto* script = static_cast<Script*>(argument);
    const size_t call = script->calls++;
    HANDLE self = nullptr;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &self, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    script->threads.push_back(self);
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
void noteTimeout(int value) {
    ++timeoutCalls;
    timeoutArgument = value;
}

}  // namespace

TEST(RetryTask, ResultsByAttemptCode) {
    struct Case {
        const char* name;
        std::vector<uint32_t> codes;
        uint8_t successIsZero;
        uint32_t result, attempts;
    } cases[] = {
        {"zero succeeds", {1, 1, 0}, 1, zel::retry::kSuccess, 3},
        {"2 is a hard failure, not retried", {1, 2, 0}, 1, zel::retry::kHardFailure, 2},
        {"non-zero succeeds when asked", {0, 0, 7}, 0, zel::retry::kSuccess, 3},
        {"2 stays a hard failure when non-zero succeeds", {0, 2}, 0, zel::retry::kHardFailure, 2},
        {"3 never ends the run, even as non-zero", {3, 3, 0, 5}, 0, zel::retry::kSuccess, 4},
        {"exhaustion", {1}, 1, zel::retry::kAttemptsExhausted, 10},
    };
    for (const Case& c : cases) {
        Script script;
        script.codes = c.codes;
        zel::RetryTask task = taskFor(script);
        task.successIsZero = c.successIsZero;
        EXPECT_EQ(zel::runRetryTask(task), c.result) << c.name;
        EXPECT_EQ(task.attempts, c.attempts) << c.name;
        EXPECT_EQ(script.calls.load(), c.attempts) << c.name;
    }
}

TEST(RetryTask, TimeLimitEndsTheRunAfterAnAttempt) {
    Script script;
    script.codes = {1};
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
    Script script;
    script.codes = {kHang, 0};
    zel::RetryTask task = taskFor(script);
    task.attemptTimeout = 0.3;
    task.interval = 0.1;
    task.onTimeout = noteTimeout;
    timeoutCalls = 0;
    EXPECT_EQ(zel::runRetryTask(task), zel::retry::kSuccess);
    EXPECT_EQ(task.attempts, 2u);
    EXPECT_EQ(timeoutCalls.load(), 1);
    EXPECT_EQ(timeoutArgument.load(), 0);
    ASSERT_EQ(script.threads.size(), 2u);
    DWORD exitCode = 0;
    EXPECT_TRUE(GetExitCodeThread(script.threads[0], &exitCode));
    EXPECT_EQ(exitCode, 0x20000019u);
    EXPECT_TRUE(GetExitCodeThread(script.threads[1], &exitCode));
    EXPECT_EQ(exitCode, 0u);
}
