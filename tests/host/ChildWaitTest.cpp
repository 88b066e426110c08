#include <gtest/gtest.h>

#include <algorithm>

#include "host/ChildWait.h"

namespace {

// A child whose pipe content, end and clock the test scripts: it ends
// after `runningPolls` exit-code reads; `lateOutput` enters the pipe only
// once the end has been seen, as output that arrives after the last poll.
class ScriptedChild : public zel::ChildChannel {
public:
    std::string pipe;
    std::string lateOutput;
    int runningPolls = 0;
    uint32_t exitValue = 0;
    zel::ErrorCode exitError = 0;
    std::vector<uint32_t> readSizes;
    int exitReads = 0;

    uint32_t available() override { return static_cast<uint32_t>(pipe.size()); }
    std::string read(uint32_t size) override {
        readSizes.push_back(size);
        const std::string chunk = pipe.substr(0, size);
        pipe.erase(0, size);
        return chunk;
    }
    zel::ErrorCode exitCode(uint32_t* code) override {
        ++exitReads;
        if (exitError) return exitError;
        if (exitReads <= runningPolls) {
            *code = zel::kStillActive;
            return 0;
        }
        pipe += lateOutput;
        lateOutput.clear();
        *code = exitValue;
        return 0;
    }
};

// Each reading of the clock moves it on by step milliseconds.
struct SteppingClock {
    uint64_t now = 1000;
    uint64_t step = 0;
    uint64_t operator()() {
        const uint64_t value = now;
        now += step;
        return value;
    }
};

std::string bytes(size_t count) {
    std::string text(count, '\0');
    for (size_t i = 0; i < count; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

TEST(ChildWait, LargeOutputIsReadInChunksOfAtMost4095Bytes) {
    ScriptedChild child;
    child.pipe = bytes(10000);
    child.runningPolls = 5;
    child.exitValue = 3;
    std::string output;
    SteppingClock clock;
    const auto result = zel::waitForChild(child, 0, &output, std::ref(clock));
    EXPECT_EQ(result.code, 3u);
    EXPECT_EQ(output, bytes(10000));
    ASSERT_GE(child.readSizes.size(), 3u);
    EXPECT_EQ(*std::max_element(child.readSizes.begin(), child.readSizes.end()), 4095u);
}

TEST(ChildWait, OutputAfterTheLastPollIsTakenByOneFinalRead) {
    ScriptedChild child;
    child.lateOutput = bytes(5000);
    std::string output = "kept|";
    SteppingClock clock;
    const auto result = zel::waitForChild(child, 0, &output, std::ref(clock));
    EXPECT_EQ(result.code, 0u);
    // One read after the end: the rest stays in the pipe.
    EXPECT_EQ(output, "kept|" + bytes(5000).substr(0, 4095));
    EXPECT_EQ(child.readSizes, std::vector<uint32_t>{4095});
}

TEST(ChildWait, TimeOutZeroWaitsForEver) {
    ScriptedChild child;
    child.runningPolls = 2000;
    child.exitValue = 7;
    SteppingClock clock;
    clock.step = 3600 * 1000;  // an hour per poll
    std::string output;
    const auto result = zel::waitForChild(child, 0, &output, std::ref(clock));
    EXPECT_EQ(result.code, 7u);
    EXPECT_EQ(child.exitReads, 2001) << "polled until the end, however late";
}

TEST(ChildWait, TimeOutAnswers0x20000018OnceTheLimitIsExceeded) {
    ScriptedChild child;
    child.runningPolls = 1 << 30;
    child.pipe = "partial";
    SteppingClock clock;
    clock.step = 100;
    std::string output;
    const auto result = zel::waitForChild(child, 1.0, &output, std::ref(clock));
    EXPECT_EQ(result.code, 0x20000018u);
    EXPECT_EQ(output, "partial");
    // 1.0 s is not yet past the limit; the poll that sees 1.1 s stops.
    EXPECT_EQ(child.exitReads, 10);
    EXPECT_NEAR(result.elapsedSeconds, 1.2, 1e-9);
}

TEST(ChildWait, AnUnreadableExitCodeEndsTheWaitWithTheSystemError) {
    ScriptedChild child;
    child.exitError = 6;  // ERROR_INVALID_HANDLE
    SteppingClock clock;
    std::string output;
    EXPECT_EQ(zel::waitForChild(child, 5, &output, std::ref(clock)).code, 6u);
}

}  // namespace
