// IOCTLs on "\\.\PhysicalDriveN", decoded from the raw bytes at the offsets
// of the 64-bit Windows structures.
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "vhost/AtaDevice.h"
#include "vhost/NvmeController.h"
#include "vhost/ScsiTarget.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {
namespace {

constexpr DWORD kQueryProperty = 0x2D1400;
constexpr DWORD kProtocolCommand = 0x2DD3C0;
constexpr DWORD kGeometryEx = 0x700A0;
constexpr DWORD kGetAddress = 0x41018;
constexpr DWORD kAtaPassThroughDirect = 0x4D030;
constexpr DWORD kScsiPassThroughDirect = 0x4D014;
constexpr DWORD kManageDataSet = 0x2D9404;
constexpr uint32_t kDataSetHeaderSize = 28;  // DEVICE_MANAGE_DATA_SET_ATTRIBUTES
constexpr uint32_t kDsmActionTrim = 1;
constexpr uint32_t kDsmEntireRange = 1;

uint16_t get16(const uint8_t* at) { return static_cast<uint16_t>(at[0] | at[1] << 8); }
uint32_t get32(const uint8_t* at) {
    uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}
uint64_t get64(const uint8_t* at) {
    uint64_t value;
    std::memcpy(&value, at, 8);
    return value;
}
void put32(uint8_t* at, uint32_t value) { std::memcpy(at, &value, 4); }
void put64(uint8_t* at, uint64_t value) { std::memcpy(at, &value, 8); }

BOOL copyAnswer(const std::vector<uint8_t>& answer, uint8_t* out, DWORD outSize, DWORD* returned) {
    const DWORD moved = answer.size() < outSize ? static_cast<DWORD>(answer.size()) : outSize;
    std::memcpy(out, answer.data(), moved);
    *returned = moved;
    return TRUE;
}

BOOL fail(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

void appendString(std::vector<uint8_t>& answer, const std::string& text, size_t offsetField) {
    if (text.empty()) return;
    put32(&answer[offsetField], static_cast<uint32_t>(answer.size()));
    answer.insert(answer.end(), text.begin(), text.end());
    answer.push_back(0);
}

}  // namespace

BOOL VirtualHost::driveIoctl(OpenHandle& entry, DWORD code, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                             DWORD* returned) {
    VirtualDisk* target = disk(entry.disk);
    if (!target) return fail(ERROR_FILE_NOT_FOUND);
    switch (code) {
        case kQueryProperty: return storageQuery(*target, in, inSize, out, outSize, returned);
        case kProtocolCommand: return nvmeProtocolCommand(*target, in, inSize, out, outSize, returned);
        case kGeometryEx: return driveGeometry(*target, out, outSize, returned);
        case kGetAddress: return scsiAddress(*target, out, outSize, returned);
        case kAtaPassThroughDirect: return ataPassThrough(*target, in, inSize, out, outSize, returned);
        case kScsiPassThroughDirect: return scsiPassThrough(*target, in, inSize, out, outSize, returned);
        case kManageDataSet: return manageDataSet(entry, *target, in, inSize, returned);
        default: return fail(ERROR_INVALID_FUNCTION);
    }
}

// STORAGE_PROPERTY_QUERY: PropertyId at 0, QueryType at 4.
BOOL VirtualHost::storageQuery(VirtualDisk& target, const uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                               DWORD* returned) {
    if (!in || inSize < 8) return fail(ERROR_INVALID_PARAMETER);
    const uint32_t propertyId = get32(in), queryType = get32(in + 4);
    last_.propertyId = propertyId;
    if (queryType == 1) {  // does the property exist?
        const bool nvmeQuery = target.description().isNvme() && target.description().driver.nvmeRoute == "stornvme";
        *returned = 0;
        return propertyId == 0 || propertyId == 6 || ((propertyId == 49 || propertyId == 50) && nvmeQuery)
                   ? TRUE
                   : fail(ERROR_INVALID_FUNCTION);
    }
    if (queryType != 0) return fail(ERROR_INVALID_PARAMETER);
    switch (propertyId) {
        case 0: return deviceDescriptor(target, out, outSize, returned);
        case 6: return alignmentDescriptor(target, out, outSize, returned);
        case 49:
        case 50: return nvmeQuery(target, in, inSize, out, outSize, returned);
        default: return fail(ERROR_INVALID_FUNCTION);
    }
}

// STORAGE_DEVICE_DESCRIPTOR: 40-byte head, then the NUL-terminated strings
// its offsets point at.
BOOL VirtualHost::deviceDescriptor(VirtualDisk& target, uint8_t* out, DWORD outSize, DWORD* returned) {
    if (!out || outSize < 8) return fail(ERROR_INSUFFICIENT_BUFFER);
    const DiskDescription& d = target.description();
    std::vector<uint8_t> answer(40, 0);
    put32(&answer[0], 40);
    answer[10] = d.busType == 7 ? 1 : 0;  // removable media
    answer[11] = d.isScsi() ? 0 : 1;      // command queueing
    appendString(answer, d.vendor, 12);
    appendString(answer, d.model, 16);
    appendString(answer, d.firmware, 20);
    appendString(answer, d.serial, 24);
    put32(&answer[28], d.busType);
    put32(&answer[4], static_cast<uint32_t>(answer.size()));
    return copyAnswer(answer, out, outSize, returned);
}

BOOL VirtualHost::alignmentDescriptor(VirtualDisk& target, uint8_t* out, DWORD outSize, DWORD* returned) {
    if (!out || outSize < 8) return fail(ERROR_INSUFFICIENT_BUFFER);
    std::vector<uint8_t> answer(28, 0);
    put32(&answer[0], 28);
    put32(&answer[4], 28);
    put32(&answer[8], 64);
    put32(&answer[16], target.description().logicalSectorSize);
    put32(&answer[20], target.description().physicalSectorSize);
    return copyAnswer(answer, out, outSize, returned);
}

// DISK_GEOMETRY_EX: cylinders, media type, tracks, sectors per track, bytes
// per sector, then the disk size at 24; 40 bytes with its padded tail.
BOOL VirtualHost::driveGeometry(VirtualDisk& target, uint8_t* out, DWORD outSize, DWORD* returned) {
    if (!out || outSize < 40) return fail(ERROR_INSUFFICIENT_BUFFER);
    const DiskDescription& d = target.description();
    std::vector<uint8_t> answer(40, 0);
    put64(&answer[0], d.sectorCount() / (255 * 63));
    put32(&answer[8], d.busType == 7 ? 11 : 12);
    put32(&answer[12], 255);
    put32(&answer[16], 63);
    put32(&answer[20], d.logicalSectorSize);
    put64(&answer[24], d.capacityBytes);
    return copyAnswer(answer, out, outSize, returned);
}

BOOL VirtualHost::scsiAddress(VirtualDisk& target, uint8_t* out, DWORD outSize, DWORD* returned) {
    if (!out || outSize < 8) return fail(ERROR_INSUFFICIENT_BUFFER);
    const ScsiAddressDescription& a = target.description().scsiAddress;
    const std::vector<uint8_t> answer{8, 0, 0, 0, a.port, a.path, a.target, a.lun};
    return copyAnswer(answer, out, outSize, returned);
}

namespace {

// The ranges block must lie inside the input, after the header; with the
// entire-disk flag there is none.
bool dataSetRangesFit(const uint8_t* in, DWORD inSize) {
    const uint32_t offset = get32(in + 20), length = get32(in + 24);
    if (get32(in + 8) & kDsmEntireRange) return offset == 0 && length == 0;
    return offset >= kDataSetHeaderSize && offset % 8 == 0 && length != 0 && length % 16 == 0 &&
           uint64_t{offset} + length <= inSize;
}

}  // namespace

// DEVICE_MANAGE_DATA_SET_ATTRIBUTES: Size 0, Action 4, Flags 8, ranges
// offset 20 and length 24; each DEVICE_DATA_SET_RANGE is StartingOffset and
// LengthInBytes. As the class driver does, every range is checked before
// any is trimmed.
BOOL VirtualHost::manageDataSet(OpenHandle& entry, VirtualDisk& target, const uint8_t* in, DWORD inSize,
                                DWORD* returned) {
    if (!(entry.access & GENERIC_WRITE)) return fail(ERROR_ACCESS_DENIED);
    if (!in || inSize < kDataSetHeaderSize || get32(in) != kDataSetHeaderSize) return fail(ERROR_INVALID_PARAMETER);
    if (get32(in + 4) != kDsmActionTrim) return fail(ERROR_INVALID_FUNCTION);
    if (!dataSetRangesFit(in, inSize)) return fail(ERROR_INVALID_PARAMETER);
    if (!target.trimSupported()) return fail(ERROR_NOT_SUPPORTED);
    const uint64_t sector = target.description().logicalSectorSize;
    std::vector<std::pair<uint64_t, uint64_t>> ranges;
    if (get32(in + 8) & kDsmEntireRange) ranges.emplace_back(0, target.description().sectorCount());
    for (uint32_t at = get32(in + 20), end = at + get32(in + 24); at < end; at += 16) {
        const uint64_t start = get64(in + at), length = get64(in + at + 8);
        if (start % sector != 0 || length % sector != 0 || length == 0 || !target.inRange(start, length))
            return fail(ERROR_INVALID_PARAMETER);
        ranges.emplace_back(start / sector, length / sector);
    }
    for (const auto& range : ranges) target.trimMedia(range.first, range.second);
    *returned = 0;
    return TRUE;
}

// ATA_PASS_THROUGH_DIRECT: flags at 2, length at 8, timeout at 12, buffer
// pointer at 24, previous task file at 32, current at 40.
BOOL VirtualHost::ataPassThrough(VirtualDisk& target, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                                 DWORD* returned) {
    if (!target.description().isAta()) return fail(ERROR_INVALID_FUNCTION);
    if (!in || !out || inSize < 48 || outSize < 48 || get16(in) != 48) return fail(ERROR_INVALID_PARAMETER);
    const uint16_t flags = get16(in + 2);
    const uint32_t length = get32(in + 8);
    uint8_t* data = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(get64(in + 24)));
    const uint8_t* previous = in + 32;
    const uint8_t* current = in + 40;
    last_.ataFlags = flags;
    last_.transferLength = length;
    last_.timeout = get32(in + 12);
    last_.pathId = in[4], last_.targetId = in[5], last_.lun = in[6];

    AtaTaskFile taskFile;
    taskFile.ext = flags & 0x08;
    taskFile.feature = current[0];
    taskFile.count = current[1];
    taskFile.lba = current[2] | current[3] << 8 | static_cast<uint64_t>(current[4]) << 16;
    taskFile.device = current[5];
    taskFile.command = current[6];
    if (taskFile.ext) {
        taskFile.feature |= previous[0] << 8;
        taskFile.count |= previous[1] << 8;
        taskFile.lba |= static_cast<uint64_t>(previous[2]) << 24 | static_cast<uint64_t>(previous[3]) << 32 |
                        static_cast<uint64_t>(previous[4]) << 40;
    } else {
        taskFile.lba |= static_cast<uint64_t>(current[5] & 0x0F) << 24;
    }
    const bool moves = flags & 0x06;
    if (moves && length && !data) return fail(ERROR_INVALID_PARAMETER);
    const uint32_t moved = target.ata()->execute(taskFile, moves ? data : nullptr, moves ? length : 0);

    if (out != in) std::memcpy(out, in, 48);
    put32(out + 8, moved);  // as the port driver does, DataTransferLength tells what moved
    uint8_t* result = out + 40;
    result[0] = taskFile.error;
    result[1] = static_cast<uint8_t>(taskFile.count);
    result[2] = static_cast<uint8_t>(taskFile.lba);
    result[3] = static_cast<uint8_t>(taskFile.lba >> 8);
    result[4] = static_cast<uint8_t>(taskFile.lba >> 16);
    result[6] = taskFile.status;
    *returned = 48;
    return TRUE;
}

// SCSI_PASS_THROUGH_DIRECT: status at 2, CDB length at 6, sense length at 7,
// direction at 8, transfer length at 12, buffer pointer at 24, sense offset
// at 32, CDB at 36.
BOOL VirtualHost::scsiPassThrough(VirtualDisk& target, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                                  DWORD* returned) {
    if (!in || !out || inSize < 56 || outSize < 56 || get16(in) != 56) return fail(ERROR_INVALID_PARAMETER);
    const uint8_t cdbLength = in[6], senseLength = in[7];
    const uint32_t length = get32(in + 12), senseOffset = get32(in + 32);
    uint8_t* data = reinterpret_cast<uint8_t*>(static_cast<uintptr_t>(get64(in + 24)));
    if (cdbLength == 0 || cdbLength > 16 || (length && !data)) return fail(ERROR_INVALID_PARAMETER);
    if (senseLength && senseOffset + senseLength > outSize) return fail(ERROR_INVALID_PARAMETER);
    last_.pathId = in[3], last_.targetId = in[4], last_.lun = in[5];
    last_.dataIn = in[8];
    last_.transferLength = length;
    last_.timeout = get32(in + 16);

    uint8_t cdb[16] = {};
    std::memcpy(cdb, in + 36, cdbLength);
    const ScsiResult result = target.scsi()->execute(cdb, cdbLength, data, length);
    if (out != in) std::memcpy(out, in, 56);
    out[2] = result.status;
    put32(out + 12, result.transferred);
    *returned = 56;
    if (result.senseLength && senseLength) {
        const uint8_t copied = result.senseLength < senseLength ? static_cast<uint8_t>(result.senseLength) : senseLength;
        std::memcpy(out + senseOffset, result.sense, copied);
        out[7] = copied;
        *returned = senseOffset + copied;
    }
    return TRUE;
}

}  // namespace vhost
}  // namespace zel
