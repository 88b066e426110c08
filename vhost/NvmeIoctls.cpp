// NVMe requests as the three Windows drivers take them: the inbox driver's
// storage query and protocol command on the disk, and the "NvmeMini" and
// "IntelNvm" SRB_IO_CONTROL blocks on the SCSI port.
#include <cstring>
#include <vector>

#include "vhost/NvmeController.h"
#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {
namespace {

constexpr DWORD kScsiMiniport = 0x4D008;
constexpr uint32_t kSpecificDataSize = 40;  // STORAGE_PROTOCOL_SPECIFIC_DATA
constexpr uint32_t kDescriptorSize = 48;    // STORAGE_PROTOCOL_DATA_DESCRIPTOR

uint32_t get32(const uint8_t* at) {
    uint32_t value;
    std::memcpy(&value, at, 4);
    return value;
}
void put32(uint8_t* at, uint32_t value) { std::memcpy(at, &value, 4); }

BOOL fail(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

void setDword(uint8_t* sqe, unsigned index, uint32_t value) { put32(sqe + 4 * index, value); }

void putCompletion(uint8_t* at, const NvmeCompletion& c) {
    put32(at, c.dword0);
    put32(at + 4, c.dword1);
    put32(at + 8, c.dword2);
    put32(at + 12, c.dword3);
}

// The submission entry the inbox driver builds for a query.
bool querySubmission(uint32_t dataType, uint32_t value, uint32_t subValue, uint32_t length, uint8_t* sqe) {
    std::memset(sqe, 0, 64);
    switch (dataType) {
        case 1:
            sqe[0] = 0x06;
            setDword(sqe, 1, subValue);
            setDword(sqe, 10, value);
            return true;
        case 2:
            sqe[0] = 0x02;
            setDword(sqe, 1, 0xFFFFFFFF);
            setDword(sqe, 10, (value & 0xFF) | (((length / 4 - 1) & 0xFFFF) << 16));
            setDword(sqe, 11, (length / 4 - 1) >> 16);
            setDword(sqe, 12, subValue);
            return length >= 4;
        case 3:
            sqe[0] = 0x0A;
            setDword(sqe, 10, value);
            setDword(sqe, 11, subValue);
            return true;
        default: return false;
    }
}

}  // namespace

// Query of the inbox driver: the STORAGE_PROTOCOL_SPECIFIC_DATA from byte 8,
// its data at 8 + ProtocolDataOffset; the answer is a data descriptor of the
// same shape with the completion's dword 0 as FixedProtocolReturnData.
BOOL VirtualHost::nvmeQuery(VirtualDisk& target, const uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                            DWORD* returned) {
    const DiskDescription& d = target.description();
    if (!d.isNvme() || d.driver.nvmeRoute != "stornvme") return fail(ERROR_INVALID_FUNCTION);
    if (inSize < 8 + kSpecificDataSize || !out) return fail(ERROR_INVALID_PARAMETER);
    const uint8_t* specific = in + 8;
    last_.dataType = get32(specific + 4);
    last_.requestValue = get32(specific + 8);
    last_.requestSubValue = get32(specific + 12);
    last_.protocolDataLength = get32(specific + 20);
    const uint32_t offset = get32(specific + 16), length = last_.protocolDataLength;
    if (get32(specific) != 3 || offset < kSpecificDataSize) return fail(ERROR_INVALID_PARAMETER);
    if (8ull + offset + length > outSize) return fail(ERROR_INSUFFICIENT_BUFFER);
    uint8_t sqe[64];
    if (!querySubmission(last_.dataType, last_.requestValue, last_.requestSubValue, length, sqe))
        return fail(ERROR_INVALID_PARAMETER);

    std::vector<uint8_t> data(length, 0);
    NvmeCompletion completion;
    target.nvme()->execute(sqe, true, data.data(), length, &completion);
    if (completion.statusField() != 0) return fail(ERROR_IO_DEVICE);

    std::vector<uint8_t> header(in, in + 8 + kSpecificDataSize);
    const FaultDescription* bad = target.faults().match("bad_descriptor", sqe[0]);
    put32(&header[0], bad ? bad->version : kDescriptorSize);
    put32(&header[4], kDescriptorSize);
    put32(&header[8 + 24], completion.dword0);
    std::memcpy(out, header.data(), header.size());
    std::memcpy(out + 8 + offset, data.data(), length);
    *returned = 8 + offset + length;
    return TRUE;
}

// STORAGE_PROTOCOL_COMMAND: the command at 80, data from the device at
// DataFromDeviceBufferOffset (52), to the device at DataToDeviceBufferOffset (48).
BOOL VirtualHost::nvmeProtocolCommand(VirtualDisk& target, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                                      DWORD* returned) {
    const DiskDescription& d = target.description();
    if (!d.isNvme() || d.driver.nvmeRoute != "stornvme") return fail(ERROR_INVALID_FUNCTION);
    if (!in || !out || inSize < 144 || outSize < 144) return fail(ERROR_INVALID_PARAMETER);
    if (get32(in) != 1 || get32(in + 4) != 84) return fail(ERROR_INVALID_PARAMETER);
    const uint32_t toLength = get32(in + 32), fromLength = get32(in + 36);
    const uint32_t toOffset = get32(in + 48), fromOffset = get32(in + 52);
    last_.commandSpecific = get32(in + 56);
    last_.timeout = get32(in + 40);
    last_.transferLength = toLength ? toLength : fromLength;
    // 64-bit sums: offsets and lengths come from the caller and must not wrap.
    if (toLength && (toOffset < 144 || uint64_t{toOffset} + toLength > inSize)) return fail(ERROR_INVALID_PARAMETER);
    if (fromLength && (fromOffset < 144 || uint64_t{fromOffset} + fromLength > outSize))
        return fail(ERROR_INVALID_PARAMETER);
    if (out != in) std::memcpy(out, in, inSize < outSize ? inSize : outSize);
    *returned = outSize;

    const uint8_t* sqe = in + 80;
    if (get32(in + 8) != 3 || get32(in + 24) != 64 || sqe[0] < 0xC0) {
        put32(out + 16, get32(in + 8) != 3 ? 3u : 0xFFu);  // invalid request / not supported
        return TRUE;
    }
    std::vector<uint8_t> data(toLength ? toLength : fromLength, 0);
    if (toLength) std::memcpy(data.data(), in + toOffset, toLength);
    NvmeCompletion completion;
    target.nvme()->execute(sqe, last_.commandSpecific == 1, data.data(), static_cast<uint32_t>(data.size()),
                           &completion);
    put32(out + 64, completion.dword0);
    const uint16_t status = completion.statusField();
    put32(out + 16, status == 0 ? 1u : 2u);
    put32(out + 20, status & 0xFF);
    if (fromLength) std::memcpy(out + fromOffset, data.data(), fromLength);
    return TRUE;
}

BOOL VirtualHost::portIoctl(OpenHandle& entry, DWORD code, uint8_t* in, DWORD inSize, uint8_t* out, DWORD outSize,
                            DWORD* returned) {
    if (code != kScsiMiniport) return fail(ERROR_INVALID_FUNCTION);
    if (!in || in != out || inSize != outSize || inSize < 28) return fail(ERROR_INVALID_PARAMETER);
    if (get32(in) != 28 || 28ull + get32(in + 24) > inSize) return fail(ERROR_INVALID_PARAMETER);
    last_.signature.assign(reinterpret_cast<const char*>(in + 4), 8);
    last_.controlCode = get32(in + 16);
    last_.timeout = get32(in + 12);
    if (last_.signature == "NvmeMini" && last_.controlCode == 0xE0002000)
        return nvmeMiniport(entry.port, in, inSize, returned);
    if (last_.signature == "IntelNvm" && last_.controlCode == 0xF0002808)
        return nvmeIrst(entry.port, in, inSize, returned);
    return fail(ERROR_INVALID_FUNCTION);
}

VirtualDisk* VirtualHost::nvmeOnPort(int port, const char* route, int pathId) {
    for (auto& candidate : disks_) {
        const DiskDescription& d = candidate->description();
        if (candidate->hidden() || !d.isNvme() || d.scsiAddress.port != port || d.driver.nvmeRoute != route) continue;
        if (pathId >= 0 && d.scsiAddress.path != pathId) continue;
        return candidate.get();
    }
    return nullptr;
}

// "NvmeMini": command at 52, completion at 116, direction at 132, queue id
// at 136, data length at 140, data from 152.
BOOL VirtualHost::nvmeMiniport(int port, uint8_t* block, DWORD size, DWORD* returned) {
    VirtualDisk* target = nvmeOnPort(port, "miniport", -1);
    if (!target) return fail(ERROR_INVALID_FUNCTION);
    if (ioctlFault(*target, kScsiMiniport)) return FALSE;
    if (size < 152) return fail(ERROR_INVALID_PARAMETER);
    last_.dataIn = static_cast<uint8_t>(get32(block + 132));
    last_.queueId = get32(block + 136);
    last_.transferLength = get32(block + 140);
    if (152ull + last_.transferLength > size) return fail(ERROR_INVALID_PARAMETER);
    NvmeCompletion completion;
    target->nvme()->execute(block + 52, last_.queueId == 0, block + 152, last_.transferLength, &completion);
    putCompletion(block + 116, completion);
    put32(block + 20, 0);
    *returned = size;
    return TRUE;
}

// "IntelNvm": version at 28, path id at 29, command at 32, completion at 96,
// I/O flag at 112, data offset at 116 and length at 120.
BOOL VirtualHost::nvmeIrst(int port, uint8_t* block, DWORD size, DWORD* returned) {
    if (size < 164 || block[28] != 1) return fail(ERROR_INVALID_PARAMETER);
    last_.pathId = block[29], last_.targetId = block[30], last_.lun = block[31];
    VirtualDisk* target = nvmeOnPort(port, "irst", block[29]);
    if (!target) return fail(ERROR_INVALID_FUNCTION);
    if (ioctlFault(*target, kScsiMiniport)) return FALSE;
    last_.queueId = get32(block + 112);
    const uint32_t offset = get32(block + 116), length = get32(block + 120);
    last_.transferLength = length;
    if (offset < 164 || static_cast<uint64_t>(offset) + length > size) return fail(ERROR_INVALID_PARAMETER);
    NvmeCompletion completion;
    target->nvme()->execute(block + 32, last_.queueId == 0, block + offset, length, &completion);
    putCompletion(block + 96, completion);
    put32(block + 20, 0);
    *returned = size;
    return TRUE;
}

}  // namespace vhost
}  // namespace zel
