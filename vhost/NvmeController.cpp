#include "vhost/NvmeController.h"

#include <cstring>
#include <utility>
#include <vector>

#include "vhost/DeviceData.h"
#include "vhost/VirtualDisk.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint32_t kForceUnitAccess = 1u << 30;  // CDW12 of Read and Write

uint32_t dwordOf(const uint8_t* sqe, unsigned index) {
    uint32_t value;
    std::memcpy(&value, sqe + 4 * index, 4);
    return value;
}

uint32_t copyOut(uint8_t* data, uint32_t size, const std::vector<uint8_t>& answer, size_t from = 0) {
    std::memset(data, 0, size);
    if (from >= answer.size()) return size;
    const size_t moved = answer.size() - from < size ? answer.size() - from : size;
    std::memcpy(data, answer.data() + from, moved);
    return size;
}

}  // namespace

uint32_t NvmeController::execute(const uint8_t* sqe, bool adminQueue, uint8_t* data, uint32_t size,
                                 NvmeCompletion* completion) {
    std::memcpy(last_, sqe, 64);
    lastAdmin_ = adminQueue;
    ++commands_;
    *completion = NvmeCompletion();
    completion->dword2 = adminQueue ? 0 : 0x00010000;
    completion->dword3 = (sqe[2] | sqe[3] << 8) | 0x00010000;  // command id, phase 1
    if (const FaultDescription* fault = disk_.faults().match("nvme_status", sqe[0])) {
        completion->setStatusField(fault->nvmeStatus);
        return 0;
    }
    return adminQueue ? admin(sqe, data, size, completion) : io(sqe, data, size, completion);
}

uint32_t NvmeController::admin(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion) {
    const DiskDescription& d = disk_.description();
    switch (sqe[0]) {
        case 0x02: return getLogPage(sqe, data, size, completion);
        case 0x06: {
            const uint32_t cns = dwordOf(sqe, 10) & 0xFF;
            if (cns == 1) return copyOut(data, size, nvmeIdentifyController(d));
            if (cns == 0 && dwordOf(sqe, 1) == 1) return copyOut(data, size, nvmeIdentifyNamespace(d));
            completion->setStatusField(cns == 0 ? nvmestatus::kInvalidNamespace : nvmestatus::kInvalidField);
            return 0;
        }
        case 0x0A: return getFeatures(sqe, completion);
        default: break;
    }
    if (sqe[0] >= 0xC0) return vendor(sqe, data, size, completion);
    completion->setStatusField(nvmestatus::kInvalidOpcode);
    return 0;
}

// NUMD from CDW10 bits 31..16 and CDW11 bits 15..0, offset from CDW12/13;
// LSP bit 8 of a telemetry request starts a new capture.
uint32_t NvmeController::getLogPage(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion) {
    const uint32_t cdw10 = dwordOf(sqe, 10);
    const uint8_t logId = static_cast<uint8_t>(cdw10);
    const uint64_t dwords = ((cdw10 >> 16) | (static_cast<uint64_t>(dwordOf(sqe, 11) & 0xFFFF) << 16)) + 1;
    const uint64_t offset = dwordOf(sqe, 12) | static_cast<uint64_t>(dwordOf(sqe, 13)) << 32;
    if (logId == 0x07 && (cdw10 & 0x100)) {
        ++disk_.counters().telemetryGeneration;
        disk_.countersChanged();
    }
    const std::vector<uint8_t> page = nvmeLogPage(disk_.description(), disk_.counters(), logId, disk_.now());
    if (page.empty()) {
        completion->setStatusField(nvmestatus::kInvalidLogPage);
        return 0;
    }
    const uint64_t wanted = dwords * 4 < size ? dwords * 4 : size;
    return copyOut(data, static_cast<uint32_t>(wanted), page, offset);
}

uint32_t NvmeController::getFeatures(const uint8_t* sqe, NvmeCompletion* completion) {
    switch (dwordOf(sqe, 10) & 0xFF) {
        case 0x01: completion->dword0 = 0; break;           // arbitration
        case 0x02: completion->dword0 = 0; break;           // power state 0
        case 0x04: completion->dword0 = 0x0157; break;      // temperature threshold
        case 0x06: completion->dword0 = 1; break;           // volatile write cache on
        case 0x07: completion->dword0 = 0x003F003F; break;  // 64 queues each way
        case 0x08: completion->dword0 = 0; break;           // interrupt coalescing
        case 0x0D: completion->dword0 = disk_.description().hostMemoryBuffer ? 1 : 0; break;  // EHM
        default: completion->setStatusField(nvmestatus::kInvalidField); break;
    }
    return 0;
}

// Answers given verbatim win over the generated write-and-trim list.
uint32_t NvmeController::vendor(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion) {
    for (const VendorAnswer& answer : disk_.description().vendorAnswers) {
        if (answer.opcode != sqe[0]) continue;
        completion->dword0 = answer.dword0;
        completion->setStatusField(answer.status);
        return data ? copyOut(data, size, answer.data) : 0;
    }
    if (sqe[0] == 0xC6 && disk_.description().answersWriteTrimRanges)
        return writeTrimRanges(sqe, data, size, completion);
    completion->setStatusField(nvmestatus::kInvalidOpcode);
    return 0;
}

// Data from the device, CDW10 the dwords to move minus one, namespace 1.
uint32_t NvmeController::writeTrimRanges(const uint8_t* sqe, uint8_t* data, uint32_t size,
                                         NvmeCompletion* completion) {
    if (dwordOf(sqe, 1) != 1) {
        completion->setStatusField(nvmestatus::kInvalidNamespace);
        return 0;
    }
    const uint64_t wanted = (dwordOf(sqe, 10) + 1ull) * 4;
    if (!data) return 0;
    const uint32_t moved = static_cast<uint32_t>(wanted < size ? wanted : size);
    return copyOut(data, moved, nvmeWriteTrimRanges(disk_.description()));
}

uint32_t NvmeController::io(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion) {
    switch (sqe[0]) {
        case 0x00: disk_.flushMedia(); return 0;
        case 0x01:
        case 0x02: return readWrite(sqe, data, size, completion);
        case 0x09: return deallocate(sqe, data, size, completion);
        default: completion->setStatusField(nvmestatus::kInvalidOpcode); return 0;
    }
}

uint32_t NvmeController::readWrite(const uint8_t* sqe, uint8_t* data, uint32_t size, NvmeCompletion* completion) {
    const DiskDescription& d = disk_.description();
    const uint64_t lba = dwordOf(sqe, 10) | static_cast<uint64_t>(dwordOf(sqe, 11)) << 32;
    const uint64_t bytes = ((dwordOf(sqe, 12) & 0xFFFF) + 1ull) * d.logicalSectorSize;
    if (bytes > size) {
        completion->setStatusField(nvmestatus::kInvalidField);
        return 0;
    }
    const uint64_t offset = lba * d.logicalSectorSize;
    const VirtualDisk::MediaResult result =
        sqe[0] == 0x01 ? disk_.writeMedia(offset, data, bytes, nullptr, dwordOf(sqe, 12) & kForceUnitAccess)
                       : disk_.readMedia(offset, data, bytes);
    switch (result) {
        case VirtualDisk::MediaResult::Ok: return static_cast<uint32_t>(bytes);
        case VirtualDisk::MediaResult::OutOfRange: completion->setStatusField(nvmestatus::kLbaOutOfRange); break;
        case VirtualDisk::MediaResult::WriteFault: completion->setStatusField(nvmestatus::kWriteFault); break;
        default: completion->setStatusField(nvmestatus::kUnrecoveredRead); break;
    }
    return 0;
}

// Dataset Management: NR (CDW10 bits 7..0) ranges of {attributes, length,
// starting LBA}; only the deallocate attribute (CDW11 bit 2) does anything,
// and a range past the end fails the command before any is deallocated.
uint32_t NvmeController::deallocate(const uint8_t* sqe, const uint8_t* data, uint32_t size,
                                    NvmeCompletion* completion) {
    if (!disk_.trimSupported()) {
        completion->setStatusField(nvmestatus::kInvalidOpcode);
        return 0;
    }
    const uint32_t count = (dwordOf(sqe, 10) & 0xFF) + 1;
    if (!data || count * 16 > size) {
        completion->setStatusField(nvmestatus::kInvalidField);
        return 0;
    }
    if (!(dwordOf(sqe, 11) & 0x04)) return 0;
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (const uint8_t* entry = data; entry < data + count * 16; entry += 16)
        ranges.emplace_back(dwordOf(entry, 2) | static_cast<uint64_t>(dwordOf(entry, 3)) << 32, dwordOf(entry, 1));
    for (const auto& range : ranges) {
        if (disk_.holdsSectors(range.first, range.second)) continue;
        completion->setStatusField(nvmestatus::kLbaOutOfRange);
        return 0;
    }
    for (const auto& range : ranges) disk_.trimMedia(range.first, range.second);
    return 0;
}

}  // namespace vhost
}  // namespace zel
