#include "protocol/PassThroughBuilders.h"

#include <cstring>

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

}  // namespace

AtaPassThroughDirect64 buildAtaPassThrough(const AtaCommand& command, uint32_t dataSize, uint64_t buffer) {
    AtaPassThroughDirect64 block;
    std::memset(&block, 0, sizeof block);
    block.Length = sizeof block;
    block.AtaFlags = command.flags | ataflags::kDrdyRequired;
    block.DataTransferLength = dataSize;
    block.TimeOutValue = command.timeout;
    block.DataBuffer = buffer;
    uint8_t* current = block.CurrentTaskFile;
    current[0] = byteOf(command.feature, 0);
    current[1] = byteOf(command.count, 0);
    current[2] = byteOf(command.lba, 0);
    current[3] = byteOf(command.lba, 8);
    current[4] = byteOf(command.lba, 16);
    current[6] = command.command;
    if (command.flags & ataflags::k48Bit) {
        current[5] = command.device;
        uint8_t* previous = block.PreviousTaskFile;
        previous[0] = byteOf(command.feature, 8);
        previous[1] = byteOf(command.count, 8);
        previous[2] = byteOf(command.lba, 24);
        previous[3] = byteOf(command.lba, 32);
        previous[4] = byteOf(command.lba, 40);
    } else {
        current[5] = (command.device & 0xF0) | (byteOf(command.lba, 24) & 0x0F);
    }
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
        cdb[0] = 0x85;
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
        cdb[0] = 0xA1;
        cdb[1] = transfer.protocol * 2;
        cdb[2] = transfer.byte2;
        cdb[3] = byteOf(command.feature, 0);
        cdb[4] = byteOf(command.count, 0);
        cdb[5] = byteOf(command.lba, 0);
        cdb[6] = byteOf(command.lba, 8);
        cdb[7] = byteOf(command.lba, 16);
        cdb[8] = (command.device & 0xF0) | (byteOf(command.lba, 24) & 0x0F);
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
    query->ProtocolType = 3;
    query->ProtocolDataOffset = kProtocolSpecificDataSize;
    switch (command.opcode()) {
        case 0x02: {
            const uint32_t logId = command.dword(10) & 0xFF;
            if (logId == 7) command.setDword(10, (command.dword(10) & ~0xE00u) | 0x100u);
            query->PropertyId = 49;
            query->DataType = 2;
            query->ProtocolDataRequestValue = logId;
            query->ProtocolDataLength = dataSize;
            return true;
        }
        case 0x06:
            query->PropertyId = 49;
            query->DataType = 1;
            query->ProtocolDataRequestValue = command.nsid() == 0 ? 1 : 0;
            query->ProtocolDataRequestSubValue = command.nsid();
            query->ProtocolDataLength = 4096;
            return true;
        case 0x0A:
            query->PropertyId = 50;
            query->DataType = 3;
            query->ProtocolDataRequestValue = command.dword(10);
            query->ProtocolDataLength = 4096;
            return true;
        default:
            return false;
    }
}

void storeQueryCompletion(NvmeCommand& command, const StorageProtocolDataDescriptor& descriptor) {
    command.setCompletionDword(0, descriptor.FixedProtocolReturnData);
    command.setCompletionDword(1, descriptor.ProtocolDataRequestSubValue4);
    command.setCompletionDword(2, descriptor.ProtocolDataRequestSubValue2);
    command.setCompletionDword(3, descriptor.ProtocolDataRequestSubValue3);
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
