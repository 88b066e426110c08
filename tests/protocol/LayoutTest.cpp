// The tool's own pass-through layouts against the platform headers'.
#include <gtest/gtest.h>
#include <windows.h>
#include <winioctl.h>
#include <ntddscsi.h>

#include <cstddef>

#include "protocol/CommandRecords.h"
#include "protocol/PassThroughLayouts.h"

namespace {

// Same size, and each named field at the platform structure's offset.
#define ZEL_SAME_AT(ours, theirs, field) static_assert(offsetof(ours, field) == offsetof(theirs, field), #field);
#define ZEL_SAME_1(o, t, f) ZEL_SAME_AT(o, t, f)
#define ZEL_SAME_2(o, t, f, ...) ZEL_SAME_AT(o, t, f) ZEL_SAME_1(o, t, __VA_ARGS__)
#define ZEL_SAME_3(o, t, f, ...) ZEL_SAME_AT(o, t, f) ZEL_SAME_2(o, t, __VA_ARGS__)
#define ZEL_SAME_4(o, t, f, ...) ZEL_SAME_AT(o, t, f) ZEL_SAME_3(o, t, __VA_ARGS__)
#define ZEL_SAME_5(o, t, f, ...) ZEL_SAME_AT(o, t, f) ZEL_SAME_4(o, t, __VA_ARGS__)
#define ZEL_SAME_8(o, t, f1, f2, f3, ...) ZEL_SAME_3(o, t, f1, f2, f3) ZEL_SAME_5(o, t, __VA_ARGS__)
#define ZEL_SAME_10(o, t, f1, f2, ...) ZEL_SAME_2(o, t, f1, f2) ZEL_SAME_8(o, t, __VA_ARGS__)
#define ZEL_SAME_LAYOUT(n, ours, theirs, ...) \
    static_assert(sizeof(ours) == sizeof(theirs), #ours); ZEL_SAME_##n(ours, theirs, __VA_ARGS__)

ZEL_SAME_LAYOUT(8, zel::AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, AtaFlags, PathId, DataTransferLength,
                TimeOutValue, ReservedAsUlong, DataBuffer, PreviousTaskFile, CurrentTaskFile)
ZEL_SAME_LAYOUT(10, zel::ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, ScsiStatus, TargetId, CdbLength,
                SenseInfoLength, DataIn, DataTransferLength, TimeOutValue, DataBuffer, SenseInfoOffset, Cdb)
ZEL_SAME_LAYOUT(5, zel::SrbIoControl, SRB_IO_CONTROL, Signature, Timeout, ControlCode, ReturnCode, Length)
ZEL_SAME_LAYOUT(4, zel::ScsiAddress, SCSI_ADDRESS, PortNumber, PathId, TargetId, Lun)

ZEL_SAME_LAYOUT(10, zel::StorageProtocolSpecificData, STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolType, DataType,
                ProtocolDataRequestValue, ProtocolDataRequestSubValue, ProtocolDataOffset, ProtocolDataLength,
                FixedProtocolReturnData, ProtocolDataRequestSubValue2, ProtocolDataRequestSubValue3,
                ProtocolDataRequestSubValue4)
ZEL_SAME_LAYOUT(1, zel::StorageProtocolDataDescriptor, STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData)
// The query is STORAGE_PROPERTY_QUERY's two ids followed by the specific data.
static_assert(offsetof(zel::StorageProtocolQuery, ProtocolSpecificData) ==
              offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters));
static_assert(sizeof(zel::StorageProtocolQuery) == 8 + sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA));

}  // namespace

// Control codes and flag values as the platform headers define them.
static_assert(zel::ioctl::kAtaPassThroughDirect == static_cast<uint32_t>(IOCTL_ATA_PASS_THROUGH_DIRECT));
static_assert(zel::ioctl::kScsiPassThroughDirect == static_cast<uint32_t>(IOCTL_SCSI_PASS_THROUGH_DIRECT));
static_assert(zel::ioctl::kScsiMiniport == static_cast<uint32_t>(IOCTL_SCSI_MINIPORT));
static_assert(zel::ioctl::kScsiGetAddress == static_cast<uint32_t>(IOCTL_SCSI_GET_ADDRESS));
static_assert(zel::ioctl::kStorageQueryProperty == static_cast<uint32_t>(IOCTL_STORAGE_QUERY_PROPERTY));
static_assert(zel::ioctl::kStorageProtocolCommand == static_cast<uint32_t>(IOCTL_STORAGE_PROTOCOL_COMMAND));
static_assert(zel::ioctl::kStorageGetDeviceNumber == static_cast<uint32_t>(IOCTL_STORAGE_GET_DEVICE_NUMBER));
static_assert(zel::ioctl::kDiskGetDriveGeometryEx == static_cast<uint32_t>(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX));
static_assert(zel::ataflags::kDrdyRequired == ATA_FLAGS_DRDY_REQUIRED);
static_assert(zel::ataflags::kDataIn == ATA_FLAGS_DATA_IN);
static_assert(zel::ataflags::kDataOut == ATA_FLAGS_DATA_OUT);
static_assert(zel::ataflags::k48Bit == ATA_FLAGS_48BIT_COMMAND);
static_assert(zel::ataflags::kDma == ATA_FLAGS_USE_DMA);
static_assert(zel::scsidir::kOut == SCSI_IOCTL_DATA_OUT);
static_assert(zel::scsidir::kIn == SCSI_IOCTL_DATA_IN);
static_assert(zel::scsidir::kUnspecified == SCSI_IOCTL_DATA_UNSPECIFIED);
