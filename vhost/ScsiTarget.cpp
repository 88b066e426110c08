#include "vhost/ScsiTarget.h"

#include <cstring>
#include <string>

#include "vhost/AtaDevice.h"
#include "vhost/NvmeBridge.h"
#include "vhost/PowerBoard.h"
#include "vhost/VirtualDisk.h"

namespace zel {
namespace vhost {
namespace {

constexpr uint8_t kForceUnitAccess = 0x08;  // byte 1 of WRITE (10) and (16)

uint64_t bigEndian(const uint8_t* bytes, unsigned width) {
    uint64_t value = 0;
    for (unsigned i = 0; i < width; ++i) value = (value << 8) | bytes[i];
    return value;
}

void putBigEndian(uint8_t* bytes, unsigned width, uint64_t value) {
    for (unsigned i = 0; i < width; ++i) bytes[width - 1 - i] = static_cast<uint8_t>(value >> (8 * i));
}

void putPadded(uint8_t* out, size_t width, const std::string& text) {
    for (size_t i = 0; i < width; ++i) out[i] = i < text.size() ? static_cast<uint8_t>(text[i]) : ' ';
}

ScsiResult good(uint32_t transferred) {
    ScsiResult result;
    result.transferred = transferred;
    return result;
}

uint32_t copyOut(uint8_t* data, uint32_t size, const uint8_t* answer, uint32_t length) {
    const uint32_t moved = length < size ? length : size;
    std::memcpy(data, answer, moved);
    return moved;
}

}  // namespace

ScsiResult checkCondition(uint8_t key, uint8_t asc, uint8_t ascq) {
    ScsiResult result;
    result.status = 2;
    result.sense[0] = 0x70;
    result.sense[2] = key;
    result.sense[7] = 10;
    result.sense[12] = asc;
    result.sense[13] = ascq;
    result.senseLength = 18;
    return result;
}

ScsiResult ScsiTarget::execute(const uint8_t* cdb, uint8_t cdbLength, uint8_t* data, uint32_t size) {
    last_.assign(cdb, cdb + cdbLength);
    if (board_)
        if (std::optional<ScsiResult> answer = board_->execute(cdb, cdbLength, data, size)) return *answer;
    if (const FaultDescription* fault = disk_.faults().match("scsi_check", cdb[0]))
        return checkCondition(fault->senseKey, fault->asc, fault->ascq);
    switch (cdb[0]) {
        case 0x00: return good(0);
        case 0x12: return inquiry(cdb, data, size);
        case 0x25: return readCapacity(false, data, size);
        case 0x9E:
            if ((cdb[1] & 0x1F) == 0x10) return readCapacity(true, data, size);
            break;
        case 0x28: return readWrite(bigEndian(cdb + 2, 4), static_cast<uint32_t>(bigEndian(cdb + 7, 2)), false, data, size);
        case 0x2A:
            return readWrite(bigEndian(cdb + 2, 4), static_cast<uint32_t>(bigEndian(cdb + 7, 2)), true, data, size,
                             cdb[1] & kForceUnitAccess);
        case 0x88: return readWrite(bigEndian(cdb + 2, 8), static_cast<uint32_t>(bigEndian(cdb + 10, 4)), false, data, size);
        case 0x8A:
            return readWrite(bigEndian(cdb + 2, 8), static_cast<uint32_t>(bigEndian(cdb + 10, 4)), true, data, size,
                             cdb[1] & kForceUnitAccess);
        case 0x35:
        case 0x91: return disk_.flushMedia() ? good(0) : checkCondition(0x04, 0x44, 0x00);
        case 0x1B:  // START STOP UNIT: START clear stops the unit, as STANDBY IMMEDIATE does
            if (!(cdb[4] & 0x01)) disk_.standby();
            return good(0);
        case 0xA1:
            if (nvmeBridge_) return nvmeBridge_->execute(cdb, data, size);
            if (bridged_) return ataPassThrough(cdb, data, size);
            break;
        case 0x85:
            if (bridged_) return ataPassThrough(cdb, data, size);
            break;
        default: break;
    }
    return checkCondition(0x05, 0x20, 0x00);  // ILLEGAL REQUEST, invalid command operation code
}

ScsiResult ScsiTarget::inquiry(const uint8_t* cdb, uint8_t* data, uint32_t size) {
    const DiskDescription& d = disk_.description();
    uint8_t answer[96] = {};
    if (cdb[1] & 0x01) {
        if (cdb[2] != 0x80) return checkCondition(0x05, 0x24, 0x00);
        answer[1] = 0x80;
        answer[3] = static_cast<uint8_t>(d.serial.size() < 80 ? d.serial.size() : 80);
        std::memcpy(answer + 4, d.serial.data(), answer[3]);
        return good(copyOut(data, size, answer, 4u + answer[3]));
    }
    answer[1] = 0x80;  // removable
    answer[2] = 0x06;
    answer[3] = 0x02;
    answer[4] = 91;
    putPadded(answer + 8, 8, d.vendor);
    putPadded(answer + 16, 16, d.model);
    putPadded(answer + 32, 4, d.firmware);
    const uint32_t allocation = static_cast<uint32_t>(bigEndian(cdb + 3, 2));
    return good(copyOut(data, size < allocation ? size : allocation, answer, sizeof answer));
}

ScsiResult ScsiTarget::readCapacity(bool sixteen, uint8_t* data, uint32_t size) {
    const DiskDescription& d = disk_.description();
    const uint64_t last = d.sectorCount() - 1;
    uint8_t answer[32] = {};
    if (!sixteen) {
        putBigEndian(answer, 4, last > 0xFFFFFFFF ? 0xFFFFFFFF : last);
        putBigEndian(answer + 4, 4, d.logicalSectorSize);
        return good(copyOut(data, size, answer, 8));
    }
    putBigEndian(answer, 8, last);
    putBigEndian(answer + 8, 4, d.logicalSectorSize);
    return good(copyOut(data, size, answer, 32));
}

ScsiResult ScsiTarget::readWrite(uint64_t lba, uint32_t blocks, bool write, uint8_t* data, uint32_t size,
                                 bool forceUnitAccess) {
    const DiskDescription& d = disk_.description();
    const uint64_t bytes = static_cast<uint64_t>(blocks) * d.logicalSectorSize;
    if (lba > d.sectorCount() || blocks > d.sectorCount() - lba) return checkCondition(0x05, 0x21, 0x00);
    if (bytes > size) return checkCondition(0x05, 0x24, 0x00);
    const uint64_t offset = lba * d.logicalSectorSize;
    const VirtualDisk::MediaResult result = write ? disk_.writeMedia(offset, data, bytes, nullptr, forceUnitAccess)
                                                  : disk_.readMedia(offset, data, bytes);
    switch (result) {
        case VirtualDisk::MediaResult::Ok: return good(static_cast<uint32_t>(bytes));
        case VirtualDisk::MediaResult::MediaError:
        case VirtualDisk::MediaResult::WriteFault: return checkCondition(0x03, write ? 0x0C : 0x11, 0x00);
        case VirtualDisk::MediaResult::CrcError: return checkCondition(0x0B, 0x47, 0x00);
        default: return checkCondition(0x05, 0x21, 0x00);
    }
}

// SAT: protocol in byte 1 bits 4..1, EXTEND in bit 0; registers as laid out
// by ATA PASS-THROUGH (12) and (16).
ScsiResult ScsiTarget::ataPassThrough(const uint8_t* cdb, uint8_t* data, uint32_t size) {
    AtaTaskFile taskFile;
    const uint8_t protocol = (cdb[1] >> 1) & 0x0F;
    if (cdb[0] == 0x85) {
        taskFile.ext = cdb[1] & 0x01;
        taskFile.feature = static_cast<uint16_t>((taskFile.ext ? cdb[3] << 8 : 0) | cdb[4]);
        taskFile.count = static_cast<uint16_t>((taskFile.ext ? cdb[5] << 8 : 0) | cdb[6]);
        taskFile.lba = cdb[8] | static_cast<uint64_t>(cdb[10]) << 8 | static_cast<uint64_t>(cdb[12]) << 16;
        if (taskFile.ext)
            taskFile.lba |= static_cast<uint64_t>(cdb[7]) << 24 | static_cast<uint64_t>(cdb[9]) << 32 |
                            static_cast<uint64_t>(cdb[11]) << 40;
        taskFile.device = cdb[13];
        taskFile.command = cdb[14];
    } else {
        taskFile.feature = cdb[3];
        taskFile.count = cdb[4];
        taskFile.lba = cdb[5] | static_cast<uint64_t>(cdb[6]) << 8 | static_cast<uint64_t>(cdb[7]) << 16 |
                       static_cast<uint64_t>(cdb[8] & 0x0F) << 24;
        taskFile.device = cdb[8];
        taskFile.command = cdb[9];
    }
    if (!taskFile.ext) taskFile.lba |= static_cast<uint64_t>(taskFile.device & 0x0F) << 24;
    if (protocol == 0 && disk_.description().satStrict) return good(0);  // hardware reset
    const uint32_t moved = bridged_->execute(taskFile, data, size);
    if (taskFile.status & atastatus::kErr) return checkCondition(0x0B, 0x00, 0x00);
    return good(moved);
}

}  // namespace vhost
}  // namespace zel
