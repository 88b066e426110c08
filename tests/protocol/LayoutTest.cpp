// The tool's own pass-through layouts against the platform headers'.
#include <gtest/gtest.h>
#include <windows.h>
#include <winioctl.h>
#include <ntddscsi.h>

#include <cstddef>

#include "protocol/CommandRecords.h"
#include "protocol/PassThroughLayouts.h"

namespace {

#define ZEL_SAME_FIELD(ours, theirs, field) \
    static_assert(offsetof(ours, field) == offsetof(theirs, field), #field " of " #ours)

using zel::AtaPassThroughDirect64;
using zel::ScsiAddress;
using zel::ScsiPassThroughDirect64;
using zel::SrbIoControl;
using zel::StorageProtocolDataDescriptor;

static_assert(sizeof(AtaPassThroughDirect64) == sizeof(ATA_PASS_THROUGH_DIRECT));
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, AtaFlags);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, PathId);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, DataTransferLength);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, TimeOutValue);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, ReservedAsUlong);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, DataBuffer);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, PreviousTaskFile);
ZEL_SAME_FIELD(AtaPassThroughDirect64, ATA_PASS_THROUGH_DIRECT, CurrentTaskFile);

static_assert(sizeof(ScsiPassThroughDirect64) == sizeof(SCSI_PASS_THROUGH_DIRECT));
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, ScsiStatus);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, TargetId);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, CdbLength);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, SenseInfoLength);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, DataIn);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, DataTransferLength);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, TimeOutValue);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, DataBuffer);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, SenseInfoOffset);
ZEL_SAME_FIELD(ScsiPassThroughDirect64, SCSI_PASS_THROUGH_DIRECT, Cdb);

static_assert(sizeof(SrbIoControl) == sizeof(SRB_IO_CONTROL));
ZEL_SAME_FIELD(SrbIoControl, SRB_IO_CONTROL, Signature);
ZEL_SAME_FIELD(SrbIoControl, SRB_IO_CONTROL, Timeout);
ZEL_SAME_FIELD(SrbIoControl, SRB_IO_CONTROL, ControlCode);
ZEL_SAME_FIELD(SrbIoControl, SRB_IO_CONTROL, ReturnCode);
ZEL_SAME_FIELD(SrbIoControl, SRB_IO_CONTROL, Length);

static_assert(sizeof(ScsiAddress) == sizeof(SCSI_ADDRESS));
ZEL_SAME_FIELD(ScsiAddress, SCSI_ADDRESS, PortNumber);
ZEL_SAME_FIELD(ScsiAddress, SCSI_ADDRESS, PathId);
ZEL_SAME_FIELD(ScsiAddress, SCSI_ADDRESS, TargetId);
ZEL_SAME_FIELD(ScsiAddress, SCSI_ADDRESS, Lun);

static_assert(sizeof(StorageProtocolDataDescriptor) == sizeof(STORAGE_PROTOCOL_DATA_DESCRIPTOR));
static_assert(offsetof(StorageProtocolDataDescriptor, ProtocolType) ==
              offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData));
static_assert(offsetof(StorageProtocolDataDescriptor, FixedProtocolReturnData) ==
              offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData) +
                  offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, FixedProtocolReturnData));
static_assert(offsetof(StorageProtocolDataDescriptor, ProtocolDataRequestSubValue4) ==
              offsetof(STORAGE_PROTOCOL_DATA_DESCRIPTOR, ProtocolSpecificData) +
                  offsetof(STORAGE_PROTOCOL_SPECIFIC_DATA, ProtocolDataRequestSubValue4));
static_assert(zel::kProtocolSpecificDataSize == sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA));
// The query is STORAGE_PROPERTY_QUERY's two ids followed by the specific data.
static_assert(offsetof(zel::StorageProtocolQuery, ProtocolType) == offsetof(STORAGE_PROPERTY_QUERY, AdditionalParameters));
static_assert(sizeof(zel::StorageProtocolQuery) == 8 + sizeof(STORAGE_PROTOCOL_SPECIFIC_DATA));

#undef ZEL_SAME_FIELD

}  // namespace

TEST(PassThroughLayouts, IoctlCodesMatchThePlatformHeaders) {
    EXPECT_EQ(zel::ioctl::kAtaPassThroughDirect, static_cast<uint32_t>(IOCTL_ATA_PASS_THROUGH_DIRECT));
    EXPECT_EQ(zel::ioctl::kScsiPassThroughDirect, static_cast<uint32_t>(IOCTL_SCSI_PASS_THROUGH_DIRECT));
    EXPECT_EQ(zel::ioctl::kScsiMiniport, static_cast<uint32_t>(IOCTL_SCSI_MINIPORT));
    EXPECT_EQ(zel::ioctl::kScsiGetAddress, static_cast<uint32_t>(IOCTL_SCSI_GET_ADDRESS));
    EXPECT_EQ(zel::ioctl::kStorageQueryProperty, static_cast<uint32_t>(IOCTL_STORAGE_QUERY_PROPERTY));
    EXPECT_EQ(zel::ioctl::kStorageProtocolCommand, static_cast<uint32_t>(IOCTL_STORAGE_PROTOCOL_COMMAND));
    EXPECT_EQ(zel::ioctl::kStorageGetDeviceNumber, static_cast<uint32_t>(IOCTL_STORAGE_GET_DEVICE_NUMBER));
    EXPECT_EQ(zel::ioctl::kDiskGetDriveGeometryEx, static_cast<uint32_t>(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX));
}

TEST(PassThroughLayouts, FlagValuesMatchThePlatformHeaders) {
    EXPECT_EQ(zel::ataflags::kDrdyRequired, ATA_FLAGS_DRDY_REQUIRED);
    EXPECT_EQ(zel::ataflags::kDataIn, ATA_FLAGS_DATA_IN);
    EXPECT_EQ(zel::ataflags::kDataOut, ATA_FLAGS_DATA_OUT);
    EXPECT_EQ(zel::ataflags::k48Bit, ATA_FLAGS_48BIT_COMMAND);
    EXPECT_EQ(zel::ataflags::kDma, ATA_FLAGS_USE_DMA);
    EXPECT_EQ(zel::scsidir::kOut, SCSI_IOCTL_DATA_OUT);
    EXPECT_EQ(zel::scsidir::kIn, SCSI_IOCTL_DATA_IN);
    EXPECT_EQ(zel::scsidir::kUnspecified, SCSI_IOCTL_DATA_UNSPECIFIED);
}
