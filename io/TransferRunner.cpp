#include "io/TransferRunner.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>

#include "core/ErrorCodes.h"
#include "core/Logger.h"
#include "io/RunClock.h"

namespace zel {
namespace {

constexpr uint64_t kProgressIntervalMs = 250;
// Packets taken from the port in one call.
constexpr size_t kPacketsPerCollect = 64;

}  // namespace

// The OVERLAPPED comes first: a completion packet names it, and through it
// the slot.
struct TransferRunner::Slot {
    OVERLAPPED overlapped{};
    AlignedBuffer buffer;
    Transfer transfer;
    bool busy = false;
    bool cancelled = false;
    uint64_t submittedTick = 0;  // cycle ticks, for the latency
    uint64_t submittedMs = 0;    // for the per-request time-out
};

// The slots of a queued run and what is known of it so far.
struct TransferRunner::Queue {
    std::unique_ptr<std::vector<Slot>> owned;
    std::vector<Slot*> idle;
    size_t inFlight = 0;
    bool ok = true;
    ErrorCode failure = 0;

    void fail(ErrorCode code) {
        if (ok) failure = code;
        ok = false;
    }
};

TransferRunner::TransferRunner(DiskIo& io, const RunSettings& settings) : io_(io), settings_(settings) {}

bool TransferRunner::run(TransferPlan& plan, RunReport* report) {
    startTick_ = GetTickCount64();
    RunClock clock;
    clock.start();
    const bool queued = settings_.queueDepth > 1 && io_.isOverlapped() && !settings_.ataDma;
    const bool ok = queued ? runQueued(plan, report) : runOneByOne(plan, report);
    clock.stop();
    report->seconds = (GetTickCount64() - startTick_) / 1000.0;
    report->elapsedSeconds = clock.seconds();
    report->ticksPerSecond = settings_.captureLatency ? clock.ticksPerSecond() : 0;
    if (progressShown_) {
        if (ok) printProgress(100, settings_.label, report->stoppedAt);
        std::printf("\n");
        std::fflush(stdout);
    }
    return ok;
}

uint64_t TransferRunner::stamp() const { return settings_.captureLatency ? cycleTicks() : 0; }

bool TransferRunner::transferNow(const Transfer& transfer, uint8_t* buffer) {
    if (settings_.ataDma) return io_.ataDmaTransfer(settings_.write, transfer, buffer);
    return io_.transfer(settings_.write, transfer, buffer);
}

// Without a compare one stamp serves as the end of a transfer and the
// start of the next: the loop between them costs nanoseconds.
bool TransferRunner::runOneByOne(TransferPlan& plan, RunReport* report) {
    const size_t bytes = size_t{settings_.maxSectors} * io_.sectorSize();
    AlignedBuffer scratch(settings_.write ? 0 : bytes);
    Transfer transfer;
    uint64_t started = stamp();
    while (!reachedTimeLimit() && plan.next(&transfer)) {
        showProgress(plan, transfer);
        uint8_t* data = settings_.write ? const_cast<uint8_t*>(settings_.source) : scratch.data();
        if (!transferNow(transfer, data)) {
            failedAt(transfer, data, report);
            return false;
        }
        const uint64_t ended = stamp();
        if (settings_.captureLatency) report->latency.record(ended - started);
        if (!check(transfer, data, report)) return false;
        record(transfer, report);
        started = settings_.compare == CompareMode::None || settings_.write ? ended : stamp();
    }
    return true;
}

uint8_t* TransferRunner::dataOf(Slot& slot) const {
    return settings_.write ? const_cast<uint8_t*>(settings_.source) : slot.buffer.data();
}

bool TransferRunner::submit(Slot& slot, const Transfer& transfer, RunReport* report) {
    slot.transfer = transfer;
    slot.cancelled = false;
    slot.submittedTick = stamp();
    if (settings_.requestTimeoutMs) slot.submittedMs = GetTickCount64();
    if (io_.start(settings_.write, transfer, dataOf(slot), &slot.overlapped)) {
        slot.busy = true;
        return true;
    }
    failedAt(transfer, dataOf(slot), report);
    return false;
}

bool TransferRunner::complete(Slot& slot, RunReport* report) {
    if (slot.overlapped.Internal != 0 && !io_.outcome(&slot.overlapped)) {
        failedAt(slot.transfer, dataOf(slot), report);
        return false;
    }
    if (!check(slot.transfer, dataOf(slot), report)) return false;
    record(slot.transfer, report);
    return true;
}

// How long the next collect may wait: until the oldest transfer in flight
// reaches the time-out.
DWORD TransferRunner::waitMs(const std::vector<Slot>& slots) const {
    if (!settings_.requestTimeoutMs) return INFINITE;
    uint64_t oldest = UINT64_MAX;
    for (const Slot& slot : slots)
        if (slot.busy && !slot.cancelled) oldest = std::min(oldest, slot.submittedMs);
    if (oldest == UINT64_MAX) return INFINITE;
    const uint64_t age = GetTickCount64() - oldest;
    return age >= settings_.requestTimeoutMs ? 0 : static_cast<DWORD>(settings_.requestTimeoutMs - age);
}

// Transfers that outlived the time-out are cancelled; their packets still
// come (as aborted) and free their slots. The first one fails the run.
void TransferRunner::cancelExpired(Queue& queue, RunReport* report) {
    const uint64_t now = GetTickCount64();
    for (Slot& slot : *queue.owned) {
        if (!slot.busy || slot.cancelled || now - slot.submittedMs < settings_.requestTimeoutMs) continue;
        io_.cancel(&slot.overlapped);
        slot.cancelled = true;
        if (!queue.ok) continue;
        failedAt(slot.transfer, dataOf(slot), report);
        queue.fail(ERROR_SEM_TIMEOUT);
    }
}

bool TransferRunner::runQueued(TransferPlan& plan, RunReport* report) {
    CompletionPort* port = io_.completionPort();
    if (!port) return false;
    static_assert(std::is_standard_layout<Slot>::value, "a packet's OVERLAPPED names its slot");
    Queue queue;
    queue.owned = std::make_unique<std::vector<Slot>>(settings_.queueDepth);
    for (Slot& slot : *queue.owned) {
        if (!settings_.write) slot.buffer = AlignedBuffer(size_t{settings_.maxSectors} * io_.sectorSize());
        queue.idle.push_back(&slot);
    }
    std::vector<OVERLAPPED_ENTRY> packets(std::min<size_t>(queue.idle.size(), kPacketsPerCollect));
    for (;;) {
        fill(plan, queue, report);
        if (queue.inFlight == 0) break;
        ULONG got = 0;
        if (!port->collect(packets.data(), static_cast<ULONG>(packets.size()), waitMs(*queue.owned), &got)) {
            abandon(queue);
            break;
        }
        if (got == 0) cancelExpired(queue, report);
        const uint64_t ended = got ? stamp() : 0;
        for (ULONG i = 0; i < got; ++i) completed(*reinterpret_cast<Slot*>(packets[i].lpOverlapped), ended, queue, report);
    }
    if (queue.failure) setLastError(queue.failure);
    return queue.ok;
}

// Submits from the plan until every slot is busy, unless the run failed.
void TransferRunner::fill(TransferPlan& plan, Queue& queue, RunReport* report) {
    Transfer transfer;
    while (queue.ok && !queue.idle.empty() && !reachedTimeLimit() && plan.next(&transfer)) {
        showProgress(plan, transfer);
        if (!submit(*queue.idle.back(), transfer, report)) return queue.fail(lastError());
        queue.idle.pop_back();
        ++queue.inFlight;
    }
}

void TransferRunner::completed(Slot& slot, uint64_t endedTick, Queue& queue, RunReport* report) {
    slot.busy = false;
    queue.idle.push_back(&slot);
    --queue.inFlight;
    if (settings_.captureLatency) report->latency.record(endedTick - slot.submittedTick);
    if (queue.ok && !complete(slot, report)) queue.fail(lastError());
}

// A port that fails leaves transfers in flight with no way to learn their
// end: they are cancelled, and their slots and buffers are never freed,
// since the device may still write into them.
void TransferRunner::abandon(Queue& queue) {
    queue.fail(lastError());
    for (Slot& slot : *queue.owned)
        if (slot.busy) io_.cancel(&slot.overlapped);
    (void)queue.owned.release();
    queue.inFlight = 0;
}

bool TransferRunner::check(const Transfer& transfer, uint8_t* data, RunReport* report) {
    if (settings_.write || settings_.compare == CompareMode::None) return true;
    const uint32_t sector = io_.sectorSize();
    const uint8_t* expected = settings_.expected;
    AlignedBuffer again;
    if (settings_.compare == CompareMode::Deterministic) {
        again = AlignedBuffer(size_t{transfer.sectors} * sector);
        if (!transferNow(transfer, again.data())) {
            report->stoppedAt = transfer.lba;
            keepFailedRead(transfer, data, nullptr, report);
            return false;
        }
        expected = again.data();
    }
    for (uint32_t i = 0; i < transfer.sectors; ++i) {
        if (std::memcmp(data + size_t{i} * sector, expected + size_t{i} * sector, sector) == 0) continue;
        report->stoppedAt = transfer.lba + i;
        keepFailedRead(transfer, data, expected, report);
        setLastError(err::kMiscompare);
        return false;
    }
    return true;
}

// Where the run stopped, and what a failed read left, for the dump files.
void TransferRunner::failedAt(const Transfer& transfer, const uint8_t* data, RunReport* report) const {
    report->stoppedAt = transfer.lba;
    keepFailedRead(transfer, data, settings_.expected, report);
}

void TransferRunner::keepFailedRead(const Transfer& transfer, const uint8_t* data, const uint8_t* expected,
                                    RunReport* report) const {
    if (settings_.write) return;
    const size_t bytes = size_t{transfer.sectors} * io_.sectorSize();
    report->mismatched = transfer;
    report->actual.assign(data, data + bytes);
    if (settings_.compare == CompareMode::None || !expected) report->expected.clear();
    else report->expected.assign(expected, expected + bytes);
}

void TransferRunner::record(const Transfer& transfer, RunReport* report) {
    ++report->transfers;
    report->sectors += transfer.sectors;
    report->stoppedAt = std::max(report->stoppedAt, transfer.lba + transfer.sectors);
}

bool TransferRunner::reachedTimeLimit() const {
    return settings_.timeLimitSeconds > 0 && (GetTickCount64() - startTick_) / 1000.0 >= settings_.timeLimitSeconds;
}

void TransferRunner::showProgress(const TransferPlan& plan, const Transfer& transfer) {
    const uint64_t now = GetTickCount64();
    if (progressShown_ && now - lastProgressTick_ < kProgressIntervalMs) return;
    lastProgressTick_ = now;
    progressShown_ = true;
    printProgress(plan.percent(), settings_.label, transfer.lba);
}

}  // namespace zel
