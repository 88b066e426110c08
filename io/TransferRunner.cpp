#include "io/TransferRunner.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>

#include "core/ErrorCodes.h"
#include "core/Logger.h"

namespace zel {
namespace {

constexpr uint64_t kProgressIntervalMs = 250;

}  // namespace

struct TransferRunner::Slot {
    OVERLAPPED overlapped{};
    AlignedBuffer buffer;
    Transfer transfer;
    bool busy = false;
};

TransferRunner::TransferRunner(DiskIo& io, const RunSettings& settings) : io_(io), settings_(settings) {}

bool TransferRunner::run(TransferPlan& plan, RunReport* report) {
    startTick_ = GetTickCount64();
    const bool queued = settings_.queueDepth > 1 && io_.isOverlapped() && !settings_.ataDma;
    const bool ok = queued ? runQueued(plan, report) : runOneByOne(plan, report);
    report->seconds = (GetTickCount64() - startTick_) / 1000.0;
    if (progressShown_) {
        if (ok) printProgress(100, settings_.label, report->stoppedAt);
        std::printf("\n");
        std::fflush(stdout);
    }
    return ok;
}

bool TransferRunner::transferNow(const Transfer& transfer, uint8_t* buffer) {
    if (settings_.ataDma) return io_.ataDmaTransfer(settings_.write, transfer, buffer);
    return io_.transfer(settings_.write, transfer, buffer);
}

bool TransferRunner::runOneByOne(TransferPlan& plan, RunReport* report) {
    const size_t bytes = size_t{settings_.maxSectors} * io_.sectorSize();
    AlignedBuffer scratch(settings_.write ? 0 : bytes);
    Transfer transfer;
    while (!reachedTimeLimit() && plan.next(&transfer)) {
        showProgress(plan, transfer);
        uint8_t* data = settings_.write ? const_cast<uint8_t*>(settings_.source) : scratch.data();
        if (!transferNow(transfer, data)) {
            report->stoppedAt = transfer.lba;
            keepFailedRead(transfer, data, settings_.expected, report);
            return false;
        }
        if (!check(transfer, data, report)) return false;
        record(transfer, report);
    }
    return true;
}

bool TransferRunner::runQueued(TransferPlan& plan, RunReport* report) {
    const size_t bytes = size_t{settings_.maxSectors} * io_.sectorSize();
    std::vector<std::unique_ptr<Slot>> slots;
    for (uint32_t i = 0; i < settings_.queueDepth; ++i) {
        slots.push_back(std::make_unique<Slot>());
        slots.back()->overlapped.hEvent = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        if (!settings_.write) slots.back()->buffer = AlignedBuffer(bytes);
    }
    auto data = [&](Slot& slot) {
        return settings_.write ? const_cast<uint8_t*>(settings_.source) : slot.buffer.data();
    };
    // Completes a slot's transfer; on failure the rest still in flight are
    // waited for before their buffers go.
    auto complete = [&](Slot& slot) {
        slot.busy = false;
        if (!io_.finish(&slot.overlapped, settings_.requestTimeoutMs)) {
            report->stoppedAt = slot.transfer.lba;
            keepFailedRead(slot.transfer, data(slot), settings_.expected, report);
            return false;
        }
        if (!check(slot.transfer, data(slot), report)) return false;
        record(slot.transfer, report);
        return true;
    };
    bool ok = true;
    Transfer transfer;
    for (size_t next = 0; ok && !reachedTimeLimit() && plan.next(&transfer); ++next) {
        showProgress(plan, transfer);
        Slot& slot = *slots[next % slots.size()];
        if (slot.busy && !complete(slot)) ok = false;
        if (!ok) break;
        slot.transfer = transfer;
        if (!io_.start(settings_.write, transfer, data(slot), &slot.overlapped)) {
            report->stoppedAt = transfer.lba;
            keepFailedRead(transfer, data(slot), settings_.expected, report);
            ok = false;
            break;
        }
        slot.busy = true;
    }
    // Every transfer still in flight ends before its buffer goes; after a
    // failure their outcome no longer matters, only the first error does.
    const ErrorCode failure = ok ? 0 : lastError();
    for (auto& slot : slots) {
        if (slot->busy && ok) ok = complete(*slot);
        else if (slot->busy) io_.finish(&slot->overlapped, settings_.requestTimeoutMs);
        CloseHandle(slot->overlapped.hEvent);
    }
    if (failure) setLastError(failure);
    return ok;
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
