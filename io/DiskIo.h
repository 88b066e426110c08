#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "core/DriveOpener.h"
#include "io/TransferPlan.h"

namespace zel {

class DiskBase;

// Creation flags of the engine's handles.
namespace openflag {
constexpr DWORD kNoBuffering = 0x20000000;
constexpr DWORD kWriteThrough = 0x80000000;
constexpr DWORD kOverlapped = 0x40000000;
}  // namespace openflag

// The completion port of one overlapped handle: its transfers end as
// packets collected in batches. Closed with the object, before the handle.
class CompletionPort {
public:
    explicit CompletionPort(HANDLE file);
    ~CompletionPort();
    CompletionPort(const CompletionPort&) = delete;
    CompletionPort& operator=(const CompletionPort&) = delete;

    // False with the last error when the handle could not be tied to a port.
    bool valid() const { return port_ != nullptr; }
    // Up to count packets; waits up to timeoutMs (INFINITE: for ever) for
    // the first. *got is 0 after a time-out; false with the last error when
    // the port failed.
    bool collect(OVERLAPPED_ENTRY* packets, ULONG count, DWORD timeoutMs, ULONG* got);

private:
    HANDLE port_ = nullptr;
};

// One handle to a physical disk and the single transfers the engines are
// made of. Every failure returns false with the last error set.
class DiskIo {
public:
    explicit DiskIo(const DiskBase& disk) : disk_(disk) {}

    bool open(DWORD flags);
    bool isOverlapped() const { return (flags_ & openflag::kOverlapped) != 0; }
    HANDLE handle() const { return handle_.get(); }
    uint32_t sectorSize() const;
    uint64_t totalSectors() const;
    int diskNumber() const;

    // One transfer, waited for, on either kind of handle.
    bool transfer(bool write, const Transfer& transfer, uint8_t* buffer);
    // READ/WRITE DMA EXT through the disk's ATA route (SATA with --dma), in
    // as many commands as the 16-bit sector count needs.
    bool ataDmaTransfer(bool write, const Transfer& transfer, uint8_t* buffer);
    uint32_t largestAtaTransfer() const;
    // One data-set-management trim request for all ranges.
    bool trim(const std::vector<Transfer>& ranges);
    bool flush();

    // Starts an overlapped transfer; false with the last error unless it is
    // pending or done (then wait with finish).
    bool start(bool write, const Transfer& transfer, uint8_t* buffer, OVERLAPPED* overlapped);
    // Waits for a started transfer; timeoutMs 0 waits for ever. A transfer
    // that outlives its time is cancelled and fails with ERROR_SEM_TIMEOUT.
    bool finish(OVERLAPPED* overlapped, DWORD timeoutMs);
    // The outcome of a transfer whose completion packet came: false with its error.
    bool outcome(OVERLAPPED* overlapped);
    bool cancel(OVERLAPPED* overlapped);
    // The handle's completion port, made on first use: Windows ties a handle
    // to one port for its whole life. Null with the last error when it fails.
    CompletionPort* completionPort();

private:
    const DiskBase& disk_;
    SharedHandle handle_;
    DWORD flags_ = 0;
    std::unique_ptr<CompletionPort> port_;
};

// A transfer buffer aligned for unbuffered I/O.
class AlignedBuffer {
public:
    explicit AlignedBuffer(size_t bytes = 0);
    ~AlignedBuffer();
    AlignedBuffer(const AlignedBuffer&) = delete;
    AlignedBuffer& operator=(const AlignedBuffer&) = delete;
    AlignedBuffer(AlignedBuffer&& other) noexcept;
    AlignedBuffer& operator=(AlignedBuffer&& other) noexcept;

    uint8_t* data() const { return data_; }
    size_t size() const { return size_; }

private:
    uint8_t* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace zel
