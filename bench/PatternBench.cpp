// Pattern fill and compare of the rw engine against memcpy and memcmp on the
// same buffers, measured side by side in one run (docs/performance.md).
//
//   zel_bench_pattern [--quick]
//
// Each round times every operation of every buffer size once (enough calls
// for ~2 ms each, in alternating order), so an operation and its baseline are
// measured close together. Interference from other processes only ever adds
// time, so the table shows each operation's best round: bandwidth = buffer
// bytes / best time per call, ratio = best baseline time / best operation
// time, and whether the ratio meets its goal.

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "io/Pattern.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr size_t kSector = 512;
constexpr uint64_t kSeed = 0x5EED2024;

// Keeps the compiler from dropping stores nobody reads.
inline void clobber(const void* p) { asm volatile("" : : "r"(p) : "memory"); }

struct Buffer {
    explicit Buffer(size_t bytes) {
        void* p = nullptr;
        if (posix_memalign(&p, 4096, bytes) != 0) std::abort();
        data = static_cast<uint8_t*>(p);
        for (size_t i = 0; i < bytes; ++i) data[i] = static_cast<uint8_t>(i * 131 + 7);
    }
    ~Buffer() { std::free(data); }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;
    uint8_t* data;
};

struct Op {
    const char* name;
    int baseline;  // index of the op it is measured against, -1 for a baseline
    double goal;   // minimum ratio to the baseline, 0 = informational
    std::function<void()> run;
    long calls = 1;
    double best = 1e30;  // seconds per call, best round
};

double secondsOf(const Op& op) {
    const auto start = Clock::now();
    for (long i = 0; i < op.calls; ++i) op.run();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The operations on one buffer size.
struct Suite {
    explicit Suite(size_t size) : bytes(size), src(size), dst(size), expected(size) {
        std::memcpy(expected.data, src.data, bytes);
        add("memcpy", -1, 0, [this] { std::memcpy(dst.data, src.data, bytes); });
        add("fill fixed (transfer)", 0, 0.9, [this] { transfer(zel::PatternKind::Fixed, {}); });
        add("fill zero (transfer)", 0, 0.9, [this] { transfer(zel::PatternKind::Zero, {}); });
        add("fill fixed + metadata (transfer)", 0, 0.9,
            [this] { transfer(zel::PatternKind::Fixed, "ZelCli bench metadata"); });
        add("fill rand (transfer)", 0, 0.5, [this] { transfer(zel::PatternKind::Rand, {}); });
        add("generator over whole buffer", 0, 0.5, [this] {
            zel::Sfc64 generator(kSeed);
            zel::fillRandom(generator, dst.data, bytes);
        });
        // The generator's steps alone, five per 128 bytes as in the
        // expansion's blocks: the most the whole-buffer fill can reach.
        add("  bound: generator steps alone", 0, 0, [this] {
            zel::Sfc64 generator(kSeed);
            uint64_t folded = 0;
            for (size_t block = 0; block < bytes / 128; ++block) {
                folded ^= generator.next();
                folded ^= generator.next();
                folded ^= generator.next();
                folded ^= generator.next();
                folded ^= generator.next();
            }
            sink = sink + static_cast<int>(folded);
        });
        const int memcmpIndex = static_cast<int>(ops.size());
        add("memcmp (equal)", -1, 0, [this] { sink = sink + std::memcmp(src.data, expected.data, bytes); });
        add("compare (equal)", memcmpIndex, 0.9, [this] {
            const auto sector = zel::firstDifferingSector(src.data, expected.data, bytes, kSector);
            sink = sink + static_cast<int>(sector.has_value());
        });
        // Calls for ~2 ms per measurement.
        for (Op& op : ops) {
            op.run();
            double t;
            while ((t = secondsOf(op)) < 0.002) op.calls *= 2;
            op.calls = std::max(1L, static_cast<long>(op.calls * 0.002 / t));
        }
    }

    void add(const char* name, int baseline, double goal, std::function<void()> body) {
        ops.push_back({name, baseline, goal, [this, body] {
                           clobber(src.data);
                           clobber(expected.data);
                           body();
                           clobber(dst.data);
                       }});
    }
    void transfer(zel::PatternKind kind, const char* metadata) {
        zel::fillTransfer(kind, kSeed, metadata ? metadata : "", kSector, dst.data, bytes);
    }

    // Alternates the order so neither side of a pair always runs second.
    void round(bool reversed) {
        for (size_t k = 0; k < ops.size(); ++k) {
            Op& op = ops[reversed ? ops.size() - 1 - k : k];
            op.best = std::min(op.best, secondsOf(op) / op.calls);
        }
    }

    // Prints the table rows; returns the names of missed goals.
    std::vector<std::string> report() const {
        std::vector<std::string> missed;
        const std::string size =
            bytes >= (1u << 20) ? std::to_string(bytes >> 20) + " MiB" : std::to_string(bytes >> 10) + " KiB";
        for (const Op& op : ops) {
            const double gbps = bytes / op.best / 1e9;
            if (op.baseline < 0) {
                std::printf("| %-8s | %-32s | %8.1f | %6s | %-6s | %-8s |\n", size.c_str(), op.name, gbps, "1.00",
                            "", "");
                continue;
            }
            const double ratio = ops[op.baseline].best / op.best;
            char goal[16] = "";
            const char* verdict = "";
            if (op.goal > 0) {
                std::snprintf(goal, sizeof goal, ">= %.1f", op.goal);
                verdict = ratio >= op.goal ? "met" : "MISSED";
                if (ratio < op.goal) missed.push_back(size + " " + op.name);
            }
            std::printf("| %-8s | %-32s | %8.1f | %6.2f | %-6s | %-8s |\n", size.c_str(), op.name, gbps, ratio, goal,
                        verdict);
        }
        return missed;
    }

    size_t bytes;
    Buffer src, dst, expected;
    std::vector<Op> ops;
    volatile int sink = 0;
};

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const int rounds = quick ? 9 : 101;
    std::printf("compiler: %s %s; 512-byte sectors; best of %d rounds per operation\n\n",
#if defined(__clang__)
                "clang",
#else
                "gcc",
#endif
                __VERSION__, rounds);
    std::vector<std::unique_ptr<Suite>> suites;
    for (size_t bytes : {size_t(128) << 10, size_t(1) << 20}) suites.push_back(std::make_unique<Suite>(bytes));
    // Rounds run over both sizes, so a busy spell of the machine hits both.
    for (int round = 0; round < rounds; ++round)
        for (auto& suite : suites) suite->round(round % 2 != 0);

    std::printf("| buffer   | operation                        |   GB/s   | ratio  | goal   | verdict  |\n");
    std::printf("|----------|----------------------------------|---------:|-------:|--------|----------|\n");
    std::vector<std::string> missed;
    for (const auto& suite : suites)
        for (const std::string& name : suite->report()) missed.push_back(name);
    std::printf("\ntransfer = one-sector image built at the buffer's start, then doubling copies (the engine's\n"
                "write buffer); generator over whole buffer = the seeded expansion of every byte; bound = the\n"
                "generator's serial steps at 25.6 bytes each, without storing anything.\n");
    if (missed.empty()) std::printf("all goals met\n");
    for (const std::string& name : missed) std::printf("goal missed: %s\n", name.c_str());
    return 0;
}
