#include "io/DiskIo.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "core/DeviceApi.h"
#include "core/ErrorCodes.h"
#include "disk/DiskBase.h"
#include "io/IoLayouts.h"
#include "protocol/CommandRecords.h"
#include "protocol/IProtocol.h"
#include "protocol/Opcodes.h"
#include "protocol/ProtocolCode.h"

namespace zel {
namespace {

bool fail() {
    takeSystemLastError();
    return false;
}

void place(OVERLAPPED* overlapped, uint64_t offset) {
    overlapped->Offset = static_cast<DWORD>(offset);
    overlapped->OffsetHigh = static_cast<DWORD>(offset >> 32);
    overlapped->Internal = 0;
    overlapped->InternalHigh = 0;
}

// The low bit of an OVERLAPPED's event keeps its completion off the handle's
// port; the event itself is the handle without it.
HANDLE withoutPacket(HANDLE event) { return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(event) | 1); }
HANDLE eventOf(const OVERLAPPED* overlapped) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(overlapped->hEvent) & ~uintptr_t{1});
}

}  // namespace

bool DiskIo::open(DWORD flags) {
    flags_ = flags;
    handle_ = openPhysicalDrive(static_cast<uint32_t>(disk_.number()), flags);
    return handle_ ? true : fail();
}

uint32_t DiskIo::sectorSize() const { return disk_.logicalSectorSize() ? disk_.logicalSectorSize() : 512; }
uint64_t DiskIo::totalSectors() const { return disk_.sectorCount(); }
int DiskIo::diskNumber() const { return disk_.number(); }

bool DiskIo::start(bool write, const Transfer& transfer, uint8_t* buffer, OVERLAPPED* overlapped) {
    place(overlapped, transfer.lba * sectorSize());
    const DWORD bytes = transfer.sectors * sectorSize();
    const BOOL done = write ? deviceApi().writeFile(handle(), buffer, bytes, nullptr, overlapped)
                            : deviceApi().readFile(handle(), buffer, bytes, nullptr, overlapped);
    if (done || GetLastError() == ERROR_IO_PENDING) return true;
    return fail();
}

bool DiskIo::finish(OVERLAPPED* overlapped, DWORD timeoutMs) {
    if (timeoutMs && WaitForSingleObject(eventOf(overlapped), timeoutMs) == WAIT_TIMEOUT) {
        deviceApi().cancelIoEx(handle(), overlapped);
        DWORD ignored = 0;
        deviceApi().getOverlappedResult(handle(), overlapped, &ignored, TRUE);
        setLastError(ERROR_SEM_TIMEOUT);
        return false;
    }
    DWORD done = 0;
    if (!deviceApi().getOverlappedResult(handle(), overlapped, &done, TRUE)) return fail();
    return true;
}

bool DiskIo::outcome(OVERLAPPED* overlapped) {
    DWORD done = 0;
    return deviceApi().getOverlappedResult(handle(), overlapped, &done, FALSE) ? true : fail();
}

CompletionPort* DiskIo::completionPort() {
    if (!port_) {
        auto made = std::make_unique<CompletionPort>(handle());
        if (!made->valid()) return nullptr;
        port_ = std::move(made);
    }
    return port_.get();
}

bool DiskIo::cancel(OVERLAPPED* overlapped) { return deviceApi().cancelIoEx(handle(), overlapped) != FALSE; }

bool DiskIo::transfer(bool write, const Transfer& transfer, uint8_t* buffer) {
    const uint64_t offset = transfer.lba * sectorSize();
    const DWORD bytes = transfer.sectors * sectorSize();
    if (isOverlapped()) {
        const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, nullptr);
        OVERLAPPED overlapped{};
        // The handle's completion port loop knows nothing of this transfer.
        overlapped.hEvent = withoutPacket(event);
        const bool ok = start(write, transfer, buffer, &overlapped) && finish(&overlapped, 0);
        CloseHandle(event);
        return ok;
    }
    LARGE_INTEGER distance;
    distance.QuadPart = static_cast<LONGLONG>(offset);
    DWORD done = 0;
    if (!deviceApi().setFilePointerEx(handle(), distance, nullptr, FILE_BEGIN)) return fail();
    const BOOL ok = write ? deviceApi().writeFile(handle(), buffer, bytes, &done, nullptr)
                          : deviceApi().readFile(handle(), buffer, bytes, &done, nullptr);
    return ok ? true : fail();
}

// The 16-bit COUNT of READ/WRITE DMA EXT carries 65536 sectors as 0. A SAT
// bridge reads its transfer length from that field, and some take 0 as no
// data, so through a bridge the count stays below 65536.
uint32_t DiskIo::largestAtaTransfer() const {
    return static_cast<ProtocolCode>(disk_.protocolType()) == ProtocolCode::kAtaOverUsb ? 0xFFFF : 0x10000;
}

bool DiskIo::ataDmaTransfer(bool write, const Transfer& transfer, uint8_t* buffer) {
    IProtocol* route = disk_.protocol();
    if (!route) {
        setLastError(err::kFunctionNotSupported);
        return false;
    }
    for (uint32_t done = 0; done < transfer.sectors;) {
        const uint32_t sectors = std::min(transfer.sectors - done, largestAtaTransfer());
        AtaCommand command;
        command.command = write ? ataop::kWriteDmaExt : ataop::kReadDmaExt;
        command.lba = transfer.lba + done;
        command.count = static_cast<uint16_t>(sectors);  // 65536 is 0
        command.device = 0x40;
        command.flags = ataflags::k48Bit | ataflags::kDma | (write ? ataflags::kDataOut : ataflags::kDataIn);
        command.timeout = 30;
        uint8_t* data = buffer + size_t{done} * sectorSize();
        if (!route->sendCommand(handle(), data, sectors * sectorSize(), &command)) return false;
        done += sectors;
    }
    return true;
}

bool DiskIo::trim(const std::vector<Transfer>& ranges) {
    std::vector<uint8_t> request(dsm::kRangesOffset + ranges.size() * sizeof(dsm::Range));
    dsm::Header header;
    header.rangesOffset = dsm::kRangesOffset;
    header.rangesLength = static_cast<uint32_t>(ranges.size() * sizeof(dsm::Range));
    std::memcpy(request.data(), &header, sizeof header);
    for (size_t i = 0; i < ranges.size(); ++i) {
        dsm::Range range;
        range.startingOffset = static_cast<int64_t>(ranges[i].lba * sectorSize());
        range.lengthInBytes = uint64_t{ranges[i].sectors} * sectorSize();
        std::memcpy(request.data() + dsm::kRangesOffset + i * sizeof range, &range, sizeof range);
    }
    DWORD returned = 0;
    const BOOL ok = deviceApi().deviceIoControl(handle(), dsm::kIoctl, request.data(),
                                                static_cast<DWORD>(request.size()), nullptr, 0, &returned, nullptr);
    return ok ? true : fail();
}

bool DiskIo::flush() { return deviceApi().flushFileBuffers(handle()) ? true : fail(); }

CompletionPort::CompletionPort(HANDLE file) {
    port_ = deviceApi().createIoCompletionPort(file, nullptr, 0, 1);
    if (!port_) takeSystemLastError();
}

CompletionPort::~CompletionPort() {
    if (port_) deviceApi().closeHandle(port_);
}

bool CompletionPort::collect(OVERLAPPED_ENTRY* packets, ULONG count, DWORD timeoutMs, ULONG* got) {
    *got = 0;
    if (deviceApi().getQueuedCompletionStatusEx(port_, packets, count, got, timeoutMs)) return true;
    *got = 0;
    return GetLastError() == WAIT_TIMEOUT ? true : fail();
}

AlignedBuffer::AlignedBuffer(size_t bytes) : size_(bytes) {
    if (bytes) data_ = static_cast<uint8_t*>(_aligned_malloc(bytes, 4096));
}

AlignedBuffer::~AlignedBuffer() { _aligned_free(data_); }

AlignedBuffer::AlignedBuffer(AlignedBuffer&& other) noexcept : data_(other.data_), size_(other.size_) {
    other.data_ = nullptr;
    other.size_ = 0;
}

AlignedBuffer& AlignedBuffer::operator=(AlignedBuffer&& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(size_, other.size_);
    return *this;
}

}  // namespace zel
