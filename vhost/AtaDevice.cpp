#include "vhost/AtaDevice.h"

#include <cstring>
#include <utility>
#include <vector>

#include "vhost/DeviceData.h"
#include "vhost/VirtualDisk.h"

namespace zel {
namespace vhost {
namespace {

bool isRead(uint8_t command) { return command == 0x20 || command == 0x24 || command == 0xC8 || command == 0x25; }
bool isWrite(uint8_t command) {
    return command == 0x30 || command == 0x34 || command == 0xCA || command == 0x35 || command == 0x3D;
}
// WRITE DMA FUA EXT: on the media when it completes, whatever the cache.
bool forcesUnitAccess(uint8_t command) { return command == 0x3D; }

uint32_t sectorCountOf(const AtaTaskFile& taskFile) {
    if (taskFile.count != 0) return taskFile.ext ? taskFile.count : (taskFile.count & 0xFF);
    return taskFile.ext ? 65536 : 256;
}

uint64_t lbaOf(const AtaTaskFile& taskFile) {
    return taskFile.ext ? taskFile.lba & 0xFFFFFFFFFFFFull : taskFile.lba & 0x0FFFFFFF;
}

}  // namespace

uint32_t AtaDevice::fail(AtaTaskFile& taskFile, uint8_t status, uint8_t error) {
    taskFile.status = status | atastatus::kErr;
    taskFile.error = error;
    return 0;
}

uint32_t AtaDevice::execute(AtaTaskFile& taskFile, uint8_t* data, uint32_t size) {
    last_ = taskFile;
    ++commands_;
    taskFile.status = atastatus::kGood;
    taskFile.error = 0;
    const uint64_t lba = isRead(taskFile.command) || isWrite(taskFile.command) ? lbaOf(taskFile) : 0;
    const uint32_t count = sectorCountOf(taskFile);
    if (const FaultDescription* fault = disk_.faults().match("ata_error", taskFile.command, lba, count))
        return fail(taskFile, fault->ataStatus, fault->ataError);
    switch (taskFile.command) {
        case 0xEC: {
            if (size < 512) return fail(taskFile, atastatus::kGood, atastatus::kAbort);
            const auto words = ataIdentifyWords(disk_.description());
            std::memcpy(data, words.data(), 512);
            return 512;
        }
        case 0xB0: return smart(taskFile, data, size);
        case 0xE7:
        case 0xEA: return disk_.flushMedia() ? 0 : fail(taskFile, atastatus::kGood, atastatus::kAbort);
        case 0xE0:  // STANDBY IMMEDIATE, and its old code
        case 0x94: disk_.standby(); return 0;
        case 0x06: return trim(taskFile, data, size);
        default: break;
    }
    if (isRead(taskFile.command)) return readWrite(taskFile, data, size, false);
    if (isWrite(taskFile.command)) return readWrite(taskFile, data, size, true);
    return fail(taskFile, atastatus::kGood, atastatus::kAbort);
}

uint32_t AtaDevice::smart(AtaTaskFile& taskFile, uint8_t* data, uint32_t size) {
    const uint32_t signature = static_cast<uint32_t>(taskFile.lba >> 8) & 0xFFFF;
    if (signature != 0xC24F) return fail(taskFile, atastatus::kGood, atastatus::kAbort);
    const DiskDescription& description = disk_.description();
    std::vector<uint8_t> sector;
    switch (taskFile.feature & 0xFF) {
        case 0xD0: sector = ataSmartData(description, disk_.counters(), disk_.now()); break;
        case 0xD1: sector = ataSmartThresholds(description); break;
        case 0xD8:  // ENABLE OPERATIONS
        case 0xD9: return 0;
        case 0xDA:
            if (ataSmartThresholdExceeded(description))
                taskFile.lba = (taskFile.lba & ~0xFFFF00ull) | (0x2CF4ull << 8);
            return 0;
        default: return fail(taskFile, atastatus::kGood, atastatus::kAbort);
    }
    if (size < 512) return fail(taskFile, atastatus::kGood, atastatus::kAbort);
    std::memcpy(data, sector.data(), 512);
    return 512;
}

uint32_t AtaDevice::readWrite(AtaTaskFile& taskFile, uint8_t* data, uint32_t size, bool write) {
    const uint64_t sectorSize = disk_.description().logicalSectorSize;
    const uint64_t lba = lbaOf(taskFile);
    const uint64_t bytes = sectorCountOf(taskFile) * sectorSize;
    if (bytes > size) return fail(taskFile, atastatus::kGood, atastatus::kAbort);
    if (lba * sectorSize + bytes > disk_.description().capacityBytes)
        return fail(taskFile, atastatus::kGood, 0x10);  // IDNF
    const VirtualDisk::MediaResult result =
        write ? disk_.writeMedia(lba * sectorSize, data, bytes, nullptr, forcesUnitAccess(taskFile.command))
              : disk_.readMedia(lba * sectorSize, data, bytes);
    switch (result) {
        case VirtualDisk::MediaResult::Ok: return static_cast<uint32_t>(bytes);
        case VirtualDisk::MediaResult::MediaError: return fail(taskFile, atastatus::kGood, atastatus::kUnc);
        case VirtualDisk::MediaResult::CrcError:
            return fail(taskFile, atastatus::kGood, atastatus::kIcrc | atastatus::kAbort);
        case VirtualDisk::MediaResult::WriteFault:
            return fail(taskFile, atastatus::kGood | atastatus::kDeviceFault, atastatus::kAbort);
        default: return fail(taskFile, atastatus::kGood, 0x10);
    }
}

// DATA SET MANAGEMENT with the TRIM bit: 8-byte range entries, LBA in bits
// 47..0 and a sector count in bits 63..48. A range past the end aborts the
// command before any range is trimmed.
uint32_t AtaDevice::trim(AtaTaskFile& taskFile, const uint8_t* data, uint32_t size) {
    if (!(taskFile.feature & 0x01) || !disk_.trimSupported())
        return fail(taskFile, atastatus::kGood, atastatus::kAbort);
    const uint64_t blocks = sectorCountOf(taskFile);
    const uint32_t bytes = blocks * 512 < size ? static_cast<uint32_t>(blocks * 512) : size;
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    for (uint32_t at = 0; at + 8 <= bytes; at += 8) {
        uint64_t entry;
        std::memcpy(&entry, data + at, 8);
        const uint64_t lba = entry & 0xFFFFFFFFFFFFull, count = entry >> 48;
        if (count == 0) continue;
        if (!disk_.holdsSectors(lba, count)) return fail(taskFile, atastatus::kGood, atastatus::kAbort);
        ranges.emplace_back(lba, count);
    }
    for (const auto& range : ranges) disk_.trimMedia(range.first, range.second);
    return bytes;
}

}  // namespace vhost
}  // namespace zel
