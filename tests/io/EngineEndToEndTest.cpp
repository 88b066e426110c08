#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "tests/io/VhostFixture.h"

namespace {

using zeltest::contains;
using zeltest::ioHost;
using EngineEndToEnd = zeltest::VhostFixture;

// The figures of the worker's line: I/Os and every latency in microseconds.
struct Figures {
    unsigned long long ios = 0;
    std::vector<double> latencies;  // p50, p99, max, min, mean, p90, p99.9, p99.99
};

bool parseFigures(const std::string& output, Figures* figures) {
    static const std::regex line(
        R"(\[T1\] [0-9.]+ MB/s, [0-9]+ IOPS, latency p50/p99/max ([0-9.]+)/([0-9.]+)/([0-9.]+) us \(min ([0-9.]+), )"
        R"(mean ([0-9.]+), p90 ([0-9.]+), p99\.9 ([0-9.]+), p99\.99 ([0-9.]+)\); ([0-9]+) I/Os, [0-9]+ bytes in )");
    std::smatch match;
    if (!std::regex_search(output, match, line)) return false;
    for (int i = 1; i <= 8; ++i) figures->latencies.push_back(std::stod(match[i]));
    figures->ios = std::stoull(match[9]);
    return true;
}

}  // namespace

// Queues deeper than the 64 handles a wait could take, written and read
// back with compare, every transfer counted in the worker's figures.
TEST_F(EngineEndToEnd, QueuesAboveSixtyFourKeepEveryTransfer) {
    useHost(ioHost(R"(, "latencyMicros": {"min": 0, "max": 500})"));
    for (const char* qd : {"128", "256"}) {
        const std::string depth = std::string(" --qd ") + qd;
        runExpecting("-a rw -d 1 --rw write --pattern rand --seed 9 --bs 4k --size 8192 --out-bin deep.bin" + depth, 0);
        auto read = runExpecting("-a rw -d 1 --rw read --bs 4k --size 8192 --in-bin deep.bin" + depth, 0);
        EXPECT_TRUE(contains(read.output, std::string("QD") + qd + " seq read")) << read.output;
        Figures figures;
        EXPECT_TRUE(parseFigures(read.output, &figures) && figures.ios == 1024u) << qd << "\n" << read.output;
    }
}

// The second read of a deterministic trim compare is a transfer of its own
// on the handle tied to the port; its completion must not reach the queue.
TEST_F(EngineEndToEnd, DeterministicTrimCompareAtDepth) {
    useHost(ioHost("", R"(, "trim": {"readsZeros": false, "deterministic": true})"));
    runExpecting("-a rw -d 2 --rw write --size 512", 0);
    runExpecting("-a rw -d 2 --rw trim --size 512", 0);
    auto read = runExpecting("-a rw -d 2 --rw read --pattern trim --size 512 --bs 4k --qd 8", 0);
    EXPECT_TRUE(contains(read.output, "QD8 seq read")) << read.output;
}

// The host delays every transfer by 2 ms: no latency figure may be below
// that, whatever the queue depth; the count is what the plan made.
TEST_F(EngineEndToEnd, LatencyFiguresNeverUnderstateTheDrivesDelay) {
    useHost(ioHost(R"(, "latencyMicros": 2000)"));
    for (const char* qd : {"1", "8"}) {
        auto read = runExpecting(std::string("-a rw -d 1 --rw randread --bs 4k --totalloop 40 --qd ") + qd, 0);
        Figures figures;
        ASSERT_TRUE(parseFigures(read.output, &figures) && figures.ios == 40u) << qd << "\n" << read.output;
        for (double micros : figures.latencies) EXPECT_GE(micros, 2000.0) << qd << "\n" << read.output;
    }
}
