#pragma once

#include <cstdint>
#include <vector>

#include "io/DiskIo.h"
#include "io/LatencyHistogram.h"
#include "io/TransferPlan.h"

namespace zel {

enum class CompareMode {
    None,
    Exact,          // every transfer equals the expected image
    Deterministic,  // a second read of every transfer equals the first
};

struct RunSettings {
    bool write = false;
    bool ataDma = false;  // transfers through READ/WRITE DMA EXT, one at a time
    uint32_t queueDepth = 1;
    uint32_t maxSectors = 1;          // the largest transfer of the plan
    const uint8_t* source = nullptr;  // writes: maxSectors of data
    const uint8_t* expected = nullptr;  // reads with CompareMode::Exact: maxSectors of image
    CompareMode compare = CompareMode::None;
    double timeLimitSeconds = 0;  // 0: the plan decides
    uint32_t requestTimeoutMs = 0;  // 0: wait for ever
    const char* label = "";
    bool captureLatency = true;
};

struct RunReport {
    // Where the run failed, or the furthest end of a transfer it completed
    // (transfers of a queue complete in any order).
    uint64_t stoppedAt = 0;
    uint64_t transfers = 0;
    uint64_t sectors = 0;
    double seconds = 0;  // by the millisecond tick, for the INI keys
    // Submit to completion of every transfer, in cycle ticks, with the rate
    // that converts them and the run's time by the steady clock.
    LatencyHistogram latency;
    double ticksPerSecond = 0;
    double elapsedSeconds = 0;
    // A read that miscompared or failed: the transfer, its buffer as the read
    // left it, and what it was compared with (empty when nothing was: no
    // expected image, or a failed read before the second read of a
    // deterministic compare).
    Transfer mismatched;
    std::vector<uint8_t> actual;
    std::vector<uint8_t> expected;
};

// Runs a plan on a disk: keeps up to queueDepth transfers in flight on an
// overlapped handle, collecting their completions in batches from the
// handle's completion port (a buffer is reused only after its transfer
// completed, in whatever order they complete), compares reads, measures
// each transfer's latency, reports progress on the console. False with the
// last error (0x20000130 on a miscompare).
class TransferRunner {
public:
    TransferRunner(DiskIo& io, const RunSettings& settings);
    bool run(TransferPlan& plan, RunReport* report);

private:
    struct Slot;
    struct Queue;
    bool runOneByOne(TransferPlan& plan, RunReport* report);
    bool runQueued(TransferPlan& plan, RunReport* report);
    bool submit(Slot& slot, const Transfer& transfer, RunReport* report);
    bool complete(Slot& slot, RunReport* report);
    DWORD waitMs(const std::vector<Slot>& slots) const;
    void fill(TransferPlan& plan, Queue& queue, RunReport* report);
    void completed(Slot& slot, uint64_t endedTick, Queue& queue, RunReport* report);
    void cancelExpired(Queue& queue, RunReport* report);
    void abandon(Queue& queue);
    uint8_t* dataOf(Slot& slot) const;
    uint64_t stamp() const;
    bool transferNow(const Transfer& transfer, uint8_t* buffer);
    bool check(const Transfer& transfer, uint8_t* data, RunReport* report);
    void failedAt(const Transfer& transfer, const uint8_t* data, RunReport* report) const;
    void keepFailedRead(const Transfer& transfer, const uint8_t* data, const uint8_t* expected,
                        RunReport* report) const;
    static void record(const Transfer& transfer, RunReport* report);
    bool reachedTimeLimit() const;
    void showProgress(const TransferPlan& plan, const Transfer& transfer);

    DiskIo& io_;
    RunSettings settings_;
    uint64_t startTick_ = 0;
    uint64_t lastProgressTick_ = 0;
    bool progressShown_ = false;
};

}  // namespace zel
