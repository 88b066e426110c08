#include <gtest/gtest.h>

#include <algorithm>

#include "host/ChildWait.h"

namespace {

// A child's pipe content and end: it ends after `runningPolls` exit-code
// reads; `lateOutput` enters the pipe only once the end has been seen, as
// output that arrives after the last poll.
struct Script {
    std::string pipe, lateOutput;
    int runningPolls;
    uint32_t exitValue;
    zel::ErrorCode exitError;
};

class ScriptedChild : public zel::ChildChannel, public Script {
public:
    explicit ScriptedChild(const Script& script) : Script(script) {}
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

std::string bytes(size_t count) {
    std::string text(count, '\0');
    for (size_t i = 0; i < count; ++i) text[i] = static_cast<char>('a' + i % 26);
    return text;
}

// Each reading of the clock moves it on by stepMs. Reads never exceed 4095
// bytes; output after the last poll gets one final read, the rest stays in
// the pipe; a time-out of 0 waits for ever, and a limit is exceeded only
// once a poll sees more than it.
TEST(ChildWait, ReadsPollsAndTimeOuts) {
    const struct {
        const char* what;
        Script script;
        uint64_t stepMs;
        double timeout;
        uint32_t code;
        std::string output;  // after "kept|"
        int exitReads;       // -1: not checked
        double elapsed;      // -1: not checked
    } cases[] = {
        {"large output in chunks", {bytes(10000), "", 5, 3, 0}, 0, 0, 3, bytes(10000), -1, -1},
        {"one final read", {"", bytes(5000), 0, 0, 0}, 0, 0, 0, bytes(4095), -1, -1},
        {"no time-out, an hour a poll", {"", "", 2000, 7, 0}, 3600 * 1000, 0, 7, "", 2001, -1},
        {"time-out past 1.0 s", {"partial", "", 1 << 30, 0, 0}, 100, 1.0, 0x20000018, "partial", 10, 1.2},
        {"unreadable exit code", {"", "", 0, 0, 6 /* ERROR_INVALID_HANDLE */}, 0, 5, 6, "", -1, -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        ScriptedChild child(c.script);
        uint64_t now = 1000;
        std::string output = "kept|";
        const auto result = zel::waitForChild(child, c.timeout, &output, [&] { return (now += c.stepMs) - c.stepMs; });
        EXPECT_EQ(result.code, c.code);
        EXPECT_EQ(output, "kept|" + c.output);
        if (c.exitReads >= 0) { EXPECT_EQ(child.exitReads, c.exitReads); }
        if (c.output.size() >= 4095) {
            EXPECT_EQ(*std::max_element(child.readSizes.begin(), child.readSizes.end()), 4095u);
        }
        if (c.elapsed >= 0) { EXPECT_NEAR(result.elapsedSeconds, c.elapsed, 1e-9); }
    }
}

}  // namespace
