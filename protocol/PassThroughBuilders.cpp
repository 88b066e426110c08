#include "protocol/PassThroughBuilders.h"

#include <cstring>

#include "protocol/Opcodes.h"

namespace zel {
namespace {

uint8_t byteOf(uint64_t value, unsigned shift) { return static_cast<uint8_t>(value >> shift); }

// SAT transfer protocol and the byte-2 flags from the ATA flags.
struct SatTransfer {
    uint8_t protocol;
    uint8_t direction;
    uint8_t byte2;
};

SatTransfer satTransfer(uint16_t flags) {
    SatTransfer transfer{0, scsidir::kOut, 0};
    if (flags & ataflags::kDataIn)
        transfer = {4, scsidir::kIn, 0x0E};
    else if (flags & ataflags::kDataOut)
        transfer = {5, scsidir::kOut, 0x06};
    if (flags & ataflags::kDma) transfer.protocol += 6;
    return transfer;
}

// Feature, count and LBA bytes 0..2 in task file order; with `high`, the
// upper halves a 48-bit command carries in its previous task file.
void fillTaskFile(uint8_t* file, const AtaCommand& command, bool high) {
    const unsigned half = high ? 8 : 0;
    const unsigned lba = high ? 24 : 0;
    file[0] = byteOf(command.feature, half);
    file[1] = byteOf(command.count, half);
    file[2] = byteOf(command.lba, lba);
    file[3] = byteOf(command.lba, lba + 8);
    file[4] = byteOf(command.lba, lba + 16);
}

// A 28-bit command's device byte carries LBA bits 27..24.
uint8_t device28(const AtaCommand& command) {
    return static_cast<uint8_t>((command.device & 0xF0) | (byteOf(command.lba, 24) & 0x0F));
}

}  // namespace

AtaPassThroughDirect64 buildAtaPassThrough(const AtaCommand& command, uint32_t dataSize, uint64_t buffer) {
    AtaPassThroughDirect64 block;
    std::memset(&block, 0, sizeof block);
    block.Length = sizeof block;
    block.AtaFlags = command.flags | ataflags::kDrdyRequired;
    block.DataTransferLength = dataSize;
    block.TimeOutValue = command.timeout;
    block.DataBuffer = buffer;
    const bool ext = command.flags & ataflags::k48Bit;
    fillTaskFile(block.CurrentTaskFile, command, false);
    block.CurrentTaskFile[5] = ext ? command.device : device28(command);
    block.CurrentTaskFile[6] = command.command;
    if (ext) fillTaskFile(block.PreviousTaskFile, command, true);
    return block;
}

ScsiCommand buildSatCommand(const AtaCommand& command) {
    ScsiCommand scsi;
    const SatTransfer transfer = satTransfer(command.flags);
    scsi.timeout = command.timeout;
    scsi.direction = transfer.direction;
    uint8_t* cdb = scsi.cdb;
    if (command.flags & ataflags::k48Bit) {
        scsi.cdbLength = 16;
        cdb[0] = scsiop::kAtaPassThrough16;
        cdb[1] = transfer.protocol * 2 + 1;
        cdb[2] = transfer.byte2;
        cdb[3] = byteOf(command.feature, 8);
        cdb[4] = byteOf(command.feature, 0);
        cdb[5] = byteOf(command.count, 8);
        cdb[6] = byteOf(command.count, 0);
        cdb[7] = byteOf(command.lba, 24);
        cdb[8] = byteOf(command.lba, 0);
        cdb[9] = byteOf(command.lba, 32);
        cdb[10] = byteOf(command.lba, 8);
        cdb[11] = byteOf(command.lba, 40);
        cdb[12] = byteOf(command.lba, 16);
        cdb[13] = command.device;
        cdb[14] = command.command;
    } else {
        scsi.cdbLength = 12;
        cdb[0] = scsiop::kAtaPassThrough12;
        cdb[1] = transfer.protocol * 2;
        cdb[2] = transfer.byte2;
        fillTaskFile(cdb + 3, command, false);
        cdb[8] = device28(command);
        cdb[9] = command.command;
    }
    return scsi;
}

ScsiPassThroughWithSense buildScsiPassThrough(const ScsiCommand& command, uint32_t dataSize, uint64_t buffer) {
    ScsiPassThroughWithSense block;
    std::memset(&block, 0, sizeof block);
    ScsiPassThroughDirect64& sptd = block.sptd;
    sptd.Length = sizeof sptd;
    sptd.TargetId = 1;  // kept as the tool has always sent it
    sptd.CdbLength = command.cdbLength;
    sptd.SenseInfoLength = sizeof block.sense;
    sptd.DataIn = command.direction;
    sptd.DataTransferLength = dataSize;
    sptd.TimeOutValue = command.timeout;
    sptd.DataBuffer = buffer;
    sptd.SenseInfoOffset = offsetof(ScsiPassThroughWithSense, sense);
    const size_t length = command.cdbLength < 16 ? command.cdbLength : 16;
    std::memcpy(sptd.Cdb, command.cdb, length);
    return block;
}

bool buildNvmeQuery(NvmeCommand& command, uint32_t dataSize, StorageProtocolQuery* query) {
    std::memset(query, 0, sizeof *query);
    StorageProtocolSpecificData& data = query->ProtocolSpecificData;
    data.ProtocolType = 3;
    data.ProtocolDataOffset = kProtocolSpecificDataSize;
    switch (command.opcode()) {
        case nvmeadmin::kGetLogPage: {
            const uint32_t logId = command.dword(10) & 0xFF;
            if (logId == 7) command.setDword(10, (command.dword(10) & ~0xE00u) | 0x100u);
            query->PropertyId = 49;
            data.DataType = 2;
            data.ProtocolDataRequestValue = logId;
            data.ProtocolDataLength = dataSize;
            return true;
        }
        case nvmeadmin::kIdentify:
            query->PropertyId = 49;
            data.DataType = 1;
            data.ProtocolDataRequestValue = command.nsid() == 0 ? 1 : 0;
            data.ProtocolDataRequestSubValue = command.nsid();
            data.ProtocolDataLength = 4096;
            return true;
        case nvmeadmin::kGetFeatures:
            query->PropertyId = 50;
            data.DataType = 3;
            data.ProtocolDataRequestValue = command.dword(10);
            data.ProtocolDataLength = 4096;
            return true;
        default:
            return false;
    }
}

void storeQueryCompletion(NvmeCommand& command, const StorageProtocolDataDescriptor& descriptor) {
    const StorageProtocolSpecificData& data = descriptor.ProtocolSpecificData;
    command.setCompletionDword(0, data.FixedProtocolReturnData);
    command.setCompletionDword(1, data.ProtocolDataRequestSubValue4);
    command.setCompletionDword(2, data.ProtocolDataRequestSubValue2);
    command.setCompletionDword(3, data.ProtocolDataRequestSubValue3);
}

void fillProtocolCommand(uint8_t* block, const NvmeCommand& command, uint32_t dataSize) {
    StorageProtocolCommand head;
    std::memset(&head, 0, sizeof head);
    head.Version = 1;
    head.Length = kStorageProtocolCommandLength;
    head.ProtocolType = 3;
    head.Flags = 0x80000000;
    head.CommandLength = 64;
    head.ErrorInfoLength = 64;
    head.TimeOutValue = command.timeout;
    head.ErrorInfoOffset = kProtocolCommandErrorInfoOffset;
    head.DataFromDeviceBufferOffset = kProtocolCommandDataOffset;
    head.CommandSpecific = 1;
    if (command.direction == nvmedir::kToDevice)
        head.DataToDeviceTransferLength = dataSize;
    else
        head.DataFromDeviceTransferLength = dataSize;
    std::memcpy(head.Command, command.command, 64);
    std::memcpy(block, &head, sizeof head);
}

void storeProtocolCommandCompletion(NvmeCommand& command, uint32_t fixedReturnData, uint32_t errorCode) {
    command.setCompletionDword(0, fixedReturnData);
    const uint16_t status = command.status();
    command.setStatus(static_cast<uint16_t>((status & ~0x1FEu) | ((errorCode & 0xFFu) << 1)));
}

void fillMiniportBlock(uint8_t* block, uint32_t total, const NvmeCommand& command, uint32_t dataSize) {
    NvmeMiniportBlock head;
    std::memset(&head, 0, sizeof head);
    head.srb.HeaderLength = sizeof(SrbIoControl);
    std::memcpy(head.srb.Signature, "NvmeMini", 8);
    head.srb.Timeout = command.timeout;
    head.srb.ControlCode = 0xE0002000;
    head.srb.Length = total - sizeof(SrbIoControl);
    std::memcpy(head.command, command.command, 64);
    head.direction = command.direction;
    head.queueId = command.admin ? 0 : 1;
    head.dataBufferLength = dataSize;
    head.returnBufferLength = total;
    std::memcpy(block, &head, sizeof head);
}

void fillIrstBlock(IrstNvmeBlock& block, const NvmeCommand& command, uint8_t pathId) {
    std::memset(&block, 0, sizeof block);
    block.srb.HeaderLength = sizeof(SrbIoControl);
    std::memcpy(block.srb.Signature, "IntelNvm", 8);
    block.srb.Timeout = command.timeout;
    block.srb.ControlCode = 0xF0002808;
    block.srb.Length = sizeof block - sizeof(SrbIoControl);
    block.version = 1;
    block.pathId = pathId;
    std::memcpy(block.command, command.command, 64);
    block.ioCommand = command.admin ? 0 : 1;
    block.dataOffset = offsetof(IrstNvmeBlock, data);
    block.dataLength = sizeof block.data;
}

}  // namespace zel
