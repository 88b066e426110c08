#pragma once

#include <cstddef>
#include <cstdint>

namespace zel {

// The 64-bit Windows pass-through structures, written out byte for byte so
// the Windows-free builders can fill them; tests compare them with the
// platform headers.

namespace ioctl {
constexpr uint32_t kAtaPassThroughDirect = 0x4D030;
constexpr uint32_t kScsiPassThroughDirect = 0x4D014;
constexpr uint32_t kScsiMiniport = 0x4D008;
constexpr uint32_t kScsiGetAddress = 0x41018;
constexpr uint32_t kStorageQueryProperty = 0x2D1400;
constexpr uint32_t kStorageProtocolCommand = 0x2DD3C0;
constexpr uint32_t kStorageGetDeviceNumber = 0x2D1080;
constexpr uint32_t kDiskGetDriveGeometryEx = 0x700A0;
}  // namespace ioctl

#pragma pack(push, 1)
struct AtaPassThroughDirect64 {
    uint16_t Length;
    uint16_t AtaFlags;
    uint8_t PathId;
    uint8_t TargetId;
    uint8_t Lun;
    uint8_t ReservedAsUchar;
    uint32_t DataTransferLength;
    uint32_t TimeOutValue;
    uint32_t ReservedAsUlong;
    uint32_t alignmentPad;
    uint64_t DataBuffer;
    uint8_t PreviousTaskFile[8];
    uint8_t CurrentTaskFile[8];
};

struct ScsiPassThroughDirect64 {
    uint16_t Length;
    uint8_t ScsiStatus;
    uint8_t PathId;
    uint8_t TargetId;
    uint8_t Lun;
    uint8_t CdbLength;
    uint8_t SenseInfoLength;
    uint8_t DataIn;
    uint8_t alignmentPad1[3];
    uint32_t DataTransferLength;
    uint32_t TimeOutValue;
    uint32_t alignmentPad2;
    uint64_t DataBuffer;
    uint32_t SenseInfoOffset;
    uint8_t Cdb[16];
    uint8_t alignmentTail[4];
};

// The pass-through block the SCSI route sends: structure, filler, sense.
struct ScsiPassThroughWithSense {
    ScsiPassThroughDirect64 sptd;
    uint32_t filler;
    uint8_t sense[32];
};

struct StorageProtocolSpecificData {
    uint32_t ProtocolType;
    uint32_t DataType;
    uint32_t ProtocolDataRequestValue;
    uint32_t ProtocolDataRequestSubValue;
    uint32_t ProtocolDataOffset;
    uint32_t ProtocolDataLength;
    uint32_t FixedProtocolReturnData;
    uint32_t ProtocolDataRequestSubValue2;
    uint32_t ProtocolDataRequestSubValue3;
    uint32_t ProtocolDataRequestSubValue4;
};

// STORAGE_PROPERTY_QUERY head with the specific data as its parameters.
struct StorageProtocolQuery {
    uint32_t PropertyId;
    uint32_t QueryType;
    StorageProtocolSpecificData ProtocolSpecificData;
};

struct StorageProtocolDataDescriptor {
    uint32_t Version;
    uint32_t Size;
    StorageProtocolSpecificData ProtocolSpecificData;
};

struct StorageProtocolCommand {
    uint32_t Version;
    uint32_t Length;
    uint32_t ProtocolType;
    uint32_t Flags;
    uint32_t ReturnStatus;
    uint32_t ErrorCode;
    uint32_t CommandLength;
    uint32_t ErrorInfoLength;
    uint32_t DataToDeviceTransferLength;
    uint32_t DataFromDeviceTransferLength;
    uint32_t TimeOutValue;
    uint32_t ErrorInfoOffset;
    uint32_t DataToDeviceBufferOffset;
    uint32_t DataFromDeviceBufferOffset;
    uint32_t CommandSpecific;
    uint32_t Reserved0;
    uint32_t FixedProtocolReturnData;
    uint32_t Reserved1[3];
    uint8_t Command[64];
};

struct SrbIoControl {
    uint32_t HeaderLength;
    char Signature[8];
    uint32_t Timeout;
    uint32_t ControlCode;
    uint32_t ReturnCode;
    uint32_t Length;
};

// "NvmeMini" miniport pass-through head; the data follows it.
struct NvmeMiniportBlock {
    SrbIoControl srb;
    uint32_t vendorSpecific[6];
    uint8_t command[64];
    uint8_t completion[16];
    uint32_t direction;
    uint32_t queueId;
    uint32_t dataBufferLength;
    uint32_t metaDataLength;
    uint32_t returnBufferLength;
};

// "IntelNvm" pass-through block, one fixed size with room for 4096 data bytes.
struct IrstNvmeBlock {
    SrbIoControl srb;
    uint8_t version;
    uint8_t pathId;
    uint8_t targetId;
    uint8_t lun;
    uint8_t command[64];
    uint8_t completion[16];
    uint32_t ioCommand;
    uint32_t dataOffset;
    uint32_t dataLength;
    uint8_t reserved[40];
    uint8_t data[4096];
};

struct ScsiAddress {
    uint32_t Length;
    uint8_t PortNumber;
    uint8_t PathId;
    uint8_t TargetId;
    uint8_t Lun;
};
#pragma pack(pop)

static_assert(sizeof(AtaPassThroughDirect64) == 48);
static_assert(offsetof(AtaPassThroughDirect64, DataTransferLength) == 8);
static_assert(offsetof(AtaPassThroughDirect64, DataBuffer) == 24);
static_assert(offsetof(AtaPassThroughDirect64, PreviousTaskFile) == 32);
static_assert(offsetof(AtaPassThroughDirect64, CurrentTaskFile) == 40);
static_assert(sizeof(ScsiPassThroughDirect64) == 56);
static_assert(offsetof(ScsiPassThroughDirect64, DataIn) == 8);
static_assert(offsetof(ScsiPassThroughDirect64, DataTransferLength) == 12);
static_assert(offsetof(ScsiPassThroughDirect64, DataBuffer) == 24);
static_assert(offsetof(ScsiPassThroughDirect64, SenseInfoOffset) == 32);
static_assert(offsetof(ScsiPassThroughDirect64, Cdb) == 36);
static_assert(sizeof(ScsiPassThroughWithSense) == 92 && offsetof(ScsiPassThroughWithSense, sense) == 60);
static_assert(sizeof(StorageProtocolSpecificData) == 40);
static_assert(offsetof(StorageProtocolSpecificData, FixedProtocolReturnData) == 24);
static_assert(sizeof(StorageProtocolQuery) == 48 && offsetof(StorageProtocolQuery, ProtocolSpecificData) == 8);
static_assert(sizeof(StorageProtocolDataDescriptor) == 48);
static_assert(offsetof(StorageProtocolDataDescriptor, ProtocolSpecificData) == 8);
static_assert(sizeof(StorageProtocolCommand) == 144);
static_assert(offsetof(StorageProtocolCommand, TimeOutValue) == 40);
static_assert(offsetof(StorageProtocolCommand, CommandSpecific) == 56);
static_assert(offsetof(StorageProtocolCommand, FixedProtocolReturnData) == 64);
static_assert(offsetof(StorageProtocolCommand, Command) == 80);
static_assert(sizeof(SrbIoControl) == 28);
static_assert(sizeof(NvmeMiniportBlock) == 152 && offsetof(NvmeMiniportBlock, command) == 52);
static_assert(offsetof(NvmeMiniportBlock, completion) == 116 && offsetof(NvmeMiniportBlock, direction) == 132);
static_assert(sizeof(IrstNvmeBlock) == 4260 && offsetof(IrstNvmeBlock, command) == 32);
static_assert(offsetof(IrstNvmeBlock, completion) == 96 && offsetof(IrstNvmeBlock, ioCommand) == 112);
static_assert(offsetof(IrstNvmeBlock, data) == 164);
static_assert(sizeof(ScsiAddress) == 8);

// Sizes the routes use that are not sizeof of a structure above.
constexpr uint32_t kStorageProtocolCommandLength = 84;  // Windows' sizeof with its one-byte Command[]
constexpr uint32_t kProtocolSpecificDataSize = sizeof(StorageProtocolSpecificData);
constexpr uint32_t kNvmeQueryBufferSize = 48 + 4096;
constexpr uint32_t kProtocolCommandDataOffset = 208;
constexpr uint32_t kProtocolCommandErrorInfoOffset = 144;

}  // namespace zel
